#pragma once
// Shell and file utilities: file associations, file-type icons, the recycle bin, type keys for
// file names, and one-line descriptions read out of the suite's data files for file lists.
// The routines hold no state; what they need from the desktop goes through TShellPlatform, so
// that each platform answers with its own association store, icons and recycle bin.
//
// Failure style: RegisterLink, GetFileIcons, RecycleFiles, GetFileType and
// GetCorrespondingResFile never throw. The description readers give an empty description for a
// missing file and for anything but a regular file (they never wait on a pipe or read a device),
// and whatever they could read from a short or damaged one; a file that exists but cannot be
// opened raises EFOpenError (EInOutError for a ".RES" file that cannot be read).

#include "wn_export.h"

#include <QIcon>
#include <QString>
#include <QStringList>

#include <cstdint>

class QObject;

namespace wn {

// The directory bit of a file's attributes.
constexpr std::int32_t faDirectory = 16;

// The text of the overwrite question; %s: the extension and the command it is linked with now.
extern WN_EXPORT const char *const SLinkOverwriteQuestion;

// What the shell routines ask of the desktop. The default one follows the freedesktop.org
// conventions (shared-mime-info, desktop entries, mimeapps.list, the XDG trash).
class WN_EXPORT TShellPlatform
{
public:
    virtual ~TShellPlatform();

    // The command that opens files with extension Ext now ("" when none is known).
    virtual QString LinkedCommand(const QString &Ext) = 0;
    // Links Ext to the file type FileType, described by Description, opened with Command and
    // shown with Icon ("file,index", a file or an icon name). Failures are ignored.
    virtual void WriteLink(const QString &Ext, const QString &FileType, const QString &Description,
                           const QString &Command, const QString &Icon) = 0;
    // The icon named by the association of Ext, or of folders; null when there is none.
    virtual QIcon LinkedIcon(const QString &Ext, bool Folder) = 0;
    // The first icon held in the file itself (".ico", ".exe"); null when none can be read.
    virtual QIcon OwnIcon(const QString &FileName) = 0;
    // The desktop's icon for the file's type, or for folders; null when the desktop has none.
    virtual QIcon TypeIcon(const QString &FileName, bool Folder) = 0;
    // The icon used when nothing better is found.
    virtual QIcon GenericIcon(bool Folder) = 0;
    // Moves the files to the recycle bin; a file that cannot go there stays and makes the
    // result false. Never deletes a file for good.
    virtual bool Recycle(const QStringList &Files) = 0;
};

// The installed platform (the freedesktop one unless replaced).
WN_EXPORT TShellPlatform &ShellPlatform();
// Installs a platform (nullptr: the default again); returns the previous one. The caller keeps
// ownership.
WN_EXPORT TShellPlatform *SetShellPlatform(TShellPlatform *platform);

// Links the extension Ext (".xyz") with a file type. When Ext is already linked with another
// command (compared ignoring case), the user is asked first and nothing changes unless the
// answer is yes.
WN_EXPORT void RegisterLink(const QString &Ext, const QString &FileType, const QString &Description,
                            const QString &Command, const QString &Icon);
// The icons of a file, 32 x 32 (large) and 16 x 16 (small). Attr holds faDirectory for
// folders. Never null when a GUI application exists.
WN_EXPORT void GetFileIcons(const QString &FileName, const QString &Ext, std::int32_t Attr, QIcon &LargeIcon,
                            QIcon &SmallIcon);
// Sends the files to the recycle bin; true when all of them went.
WN_EXPORT bool RecycleFiles(const QStringList &List);
// Lets every widget below Owner paint its own background instead of showing its parent's.
WN_EXPORT void SwitchOffParentBackGround(QObject *Owner);

// The key that groups file names of one kind: the lower-cased extension with its point
// (".txt"); "rpdg" for names beginning with rpdg; for numbered extensions (".001") the
// lower-cased name up to its first point.
WN_EXPORT QString GetFileType(const QString &FileName);
// The result-description file of a grid file: in the same folder, the first name (in name
// order, letter case ignored) that matches "R???" + the grid name's fifth character up to its
// extension + ".RES"; empty if none.
WN_EXPORT QString GetCorrespondingResFile(const QString &FileName);

// The description of FileName, chosen by Ext: an extension with its point or, for numbered
// files, a name prefix as GetFileType gives it.
WN_EXPORT void GetFileDescription(const QString &FileName, const QString &Ext, QString &Description);

// Readers for one file family each.
WN_EXPORT void GetRESFileDescription(const QString &FileName, QString &Description);
// The trimmed lines joined with "; ", cut to 80 characters.
WN_EXPORT void GetTXTFileDescription(const QString &FileName, QString &Description);
// Prefix: "RLK_", "RMK_", "TLK_" or "GRID"; other prefixes give no description.
WN_EXPORT void GetRLKFileDescription(const QString &FileName, const QString &Prefix, QString &Description);
WN_EXPORT void GetGMFileDescription(const QString &FileName, QString &Description);
// Convert: the text is in the OEM code page.
WN_EXPORT void GetV4FileDescription(const QString &FileName, QString &Description, bool Convert);
WN_EXPORT void GetSGFFileDescription(const QString &FileName, QString &Description);
// True when the file has a header record followed by a comment record, the description.
WN_EXPORT bool GetListDescription(const QString &FileName, QString &Description);

// The extensions (upper-case, with point) of the list files whose description is their comment.
WN_EXPORT const QStringList &ListFileExtensions();

} // namespace wn
