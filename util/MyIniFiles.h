#pragma once
// The settings file of the suite: an ini file held in memory, read once on construction and
// written back once on destruction, only when something was changed. Section and key names are
// stored upper-cased, so callers may spell them in any case; numbers are read with a decimal
// point or a decimal comma.

#include "framework/Classes.h"
#include "framework/CodePages.h"
#include "wn_export.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

namespace wn {

class WN_EXPORT TMyIniFile : public TObject
{
public:
    // Reads FileName when it exists; a read error propagates (EInOutError).
    explicit TMyIniFile(const QString &FileName);
    // Writes the file back when it was modified. A destructor cannot throw, so a failed write
    // here only logs a warning: callers that must see the failure call UpdateFile() first.
    ~TMyIniFile() override;

    TMyIniFile(const TMyIniFile &) = delete;
    TMyIniFile &operator=(const TMyIniFile &) = delete;

    QString ReadString(const QString &Section, const QString &Ident, const QString &Default);
    void WriteString(const QString &Section, const QString &Ident, const QString &Value);
    std::int32_t ReadInteger(const QString &Section, const QString &Ident, std::int32_t Default);
    void WriteInteger(const QString &Section, const QString &Ident, std::int32_t Value);
    bool ReadBool(const QString &Section, const QString &Ident, bool Default);
    void WriteBool(const QString &Section, const QString &Ident, bool Value);
    double ReadDouble(const QString &Section, const QString &Ident, double Default);
    // Fixed-point with precision 14 and Digits decimals, in the user's decimal separator.
    void WriteDouble(const QString &Section, const QString &Ident, double Value, std::int32_t Digits);

    // The name before the first "." of the first section that has one ("[RASTER.1]" gives
    // "RASTER"), or "-1".
    QString GetFirstSectionName() const;
    bool SectionExists(const QString &Section) const;
    void EraseSection(const QString &Section);

    // Writes the file now if it was modified (and clears Modified), replacing it atomically in
    // the encoding it was read in (UTF-8 for a new file) with CR LF line ends. EInOutError on
    // failure, with the old file left whole.
    void UpdateFile();

    const QString &FileName() const { return FFileName; }
    bool Modified() const { return FModified; }

private:
    struct TSection {
        QString Entry;     // "[" + upper-cased name + "]", or the file's own line upper-cased
        QStringList Lines; // NAME=value
    };

    std::int32_t IndexOfSection(const QString &Section) const;

    QString FFileName;
    std::vector<TSection> Sections;
    bool FModified = false;
    // Section of the last successful read as the caller spelled it, and its index. Writes and
    // erases leave it alone, so after an erase it may point at a neighbouring section.
    QString LastSection;
    std::int32_t LastSectionIdx = 0;
    TTextEncoding FEncoding = TTextEncoding::Utf8;
};

// C:\data\plot.ini gives C:\data\plot.~ini; a name without extension gets ".~" appended.
WN_EXPORT QString Make_BackUp_FileName(const QString &FileName);
// Moves an existing file to its backup name, replacing an older backup. False when the file
// does not exist or the rename fails.
WN_EXPORT bool Existing_File_To_BackUp_File(const QString &FileName);

} // namespace wn
