#pragma once
// The short user description stored near the start of geo database (.GEO) and situation (.SIT)
// files, read without loading the files, for display next to file names in lists and dialogs.
//
// A missing file, and anything but a regular file (a pipe, a device), gives an empty text; a
// file that exists but cannot be opened raises EFOpenError. Damaged or truncated files give
// whatever their bytes hold, never more than the description's own limits.

#include "wn_export.h"

#include <QString>

namespace wn {

// The description of a geo database file, in its current or its older form; empty if none.
WN_EXPORT QString GeofileDescr(const QString &FileName);
// The description of a situation file; empty if none.
WN_EXPORT QString SituationfileDescr(const QString &FileName);

} // namespace wn
