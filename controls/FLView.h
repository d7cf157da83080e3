#pragma once
// TFileListView: the files of one folder that match a filter, one row per file with the file's
// icon, its name and up to three detail columns (description, last change, size). The owner may
// refuse files and replace descriptions; a click on a column header sorts by that column.
//
// How the list meets a Linux file system, decided once for every host:
// - Path ends in "/" when not empty. The process's working folder is never changed: it is shared
//   by every thread of the host. A Path that cannot be entered (missing, not a folder, no search
//   permission) is replaced by the working folder + "/", without a message.
// - Filter masks match names without regard to letter case, since the suite's files come from
//   systems where case does not matter ("*.rlk" lists A.RLK). "*" stands for any run of
//   characters, "?" for one; a mask ending in ".*" also matches names without a point, so "*.*"
//   lists every file; blanks around a mask do not count. A file matching two masks is listed
//   twice, once per mask.
// - Folders and hidden files (names beginning with ".") are never listed. FIFOs, sockets, devices
//   and links that lead nowhere are listed under their names without a description and are never
//   opened; a link that leads nowhere shows its own time and size 0. A file that vanishes during
//   the scan is left out; one that cannot be read is listed without a description.
// - After 25 entries the screen cursor becomes the hourglass through UiServices, and the cursor
//   found at the start is put back at the end.
// - Icons come from GetFileIcons, one per file type: the first file of a type gives the icon
//   that all files of that type share.
// - Last change is the file's modification time in local time, in whole seconds, written with
//   DateTimeToStr.
// - The rows are always shown in report style. Column widths fit the header and the rows in
//   sight (measuring every row of a big folder would cost as much as reading it).
//
// Sorting: SortBy is a column index, plus 256 for descending. Column 2 compares as date-times
// and column 3 as whole numbers, whatever the columns hold; every other column in natural order
// (NaturalCompare). A text that is no date-time or number ("0" in the date column of a row from
// AddFileDirect) sorts before every one that is; rows that compare equal keep their order.

#include "framework/Classes.h"
#include "framework/ComponentState.h"
#include "wn_export.h"

#include <QDateTime>
#include <QHash>
#include <QIcon>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QTreeWidget>

#include <cstdint>
#include <functional>

namespace wn {

enum TSubItem : std::uint8_t { siDescription, siTime, siSize };
using TSubItems = TSet<TSubItem>;

// FName is the file's full name (Path + name); Value may be replaced.
using TGetFileDescriptionEvent = std::function<void(QObject *Sender, const QString &FName, QString &Value)>;
// FName is the file's name, FType its type key (GetFileType) in upper case.
using TOnAddFileEvent =
    std::function<void(QObject *Sender, const QString &FName, const QString &FType, bool &AllowAdd)>;

// The archive bit of a file's attributes, given to the icon lookup of rows added directly.
constexpr std::int32_t faArchive = 32;
// Added to a column index in SortBy: sort that column descending.
constexpr std::int32_t SortByDescending = 256;

// One entry found in a folder.
struct TSearchRec {
    QString Name;
    std::int64_t Size = 0;
    std::int32_t Attr = 0;
    QDateTime Time;
    // Set by the folder scan for a regular file (not a pipe, device or link to nowhere): its
    // description is then read without looking the name up again.
    bool Regular = false;
};

// Whether a file name matches one mask of a Filter (letter case ignored).
WN_EXPORT bool MatchesFileMask(QStringView Name, QStringView Mask);
// Natural order: the texts cut into runs of digits and runs of other characters, compared run by
// run, digit runs by their value (as if left-padded with "0" to equal length), other runs as
// case-sensitive strings. -1, 0 or 1.
WN_EXPORT int NaturalCompare(QStringView A, QStringView B);

class WN_EXPORT TFileListView : public QTreeWidget, public TComponentState
{
    Q_OBJECT
    // Default empty: the working folder.
    Q_PROPERTY(QString Path READ Path WRITE SetPath)
    // Default empty: nothing is listed.
    Q_PROPERTY(QString Filter READ Filter WRITE SetFilter)
    // Default false; takes effect at the next ReadFiles.
    Q_PROPERTY(bool HideFileExt READ HideFileExt WRITE SetHideFileExt)
    // Default all three (bits 7).
    Q_PROPERTY(wn::TSubItems SubItems READ SubItems WRITE SetSubItems)
    // Default "Name", "Description", "Last change", "Size (B)"; InitColumns puts these back.
    Q_PROPERTY(QStringList ColumnHeader READ ColumnHeader WRITE SetColumnHeader)
    // No declared default (always stored); starts at 0, names ascending. Setting it does not sort.
    Q_PROPERTY(std::int32_t SortBy READ SortBy WRITE SetSortBy)

public:
    explicit TFileListView(QWidget *parent = nullptr);
    ~TFileListView() override;

    const QString &Path() const { return FPath; }
    // Stores P (with a trailing "/" when not empty) and reads the files.
    void SetPath(const QString &P);
    const QString &Filter() const { return FFilter; }
    // Stores F and reads the files.
    void SetFilter(const QString &F);
    bool HideFileExt() const { return FHideFileExt; }
    void SetHideFileExt(bool value) { FHideFileExt = value; }
    TSubItems SubItems() const { return FSubItems; }
    // Reads the files again when S differs from the present set.
    void SetSubItems(TSubItems S);
    const QStringList &ColumnHeader() const { return FColumnHeader; }
    // Copies the captions; the shown columns keep theirs until InitColumns.
    void SetColumnHeader(const QStringList &S) { FColumnHeader = S; }
    std::int32_t SortBy() const { return FSortBy; }
    void SetSortBy(std::int32_t value) { FSortBy = value; }

    // Refills the list with the files of Path that match Filter, sorted with SortBy. OnAddFile and
    // OnGetFileDescription are asked while the folder is read; the rows join the view together
    // at the end.
    void ReadFiles();
    // Adds a row for one entry of Path, unless OnAddFile refuses it.
    void AddFile(const TSearchRec &SearchRec);
    // Adds a row for FileName (a name in Path) with the given description and "0" as last change
    // and size, without asking OnAddFile or reading the file; the list is not sorted again.
    void AddFileDirect(const QString &FileName, const QString &Description);
    // The first row whose caption equals FileName ignoring case.
    bool GetFileItem(const QString &FileName, QTreeWidgetItem *&Item) const;
    void Delete(QTreeWidgetItem *Item);
    std::int32_t GetItemsCount() const;
    // The image index of a file type; a type seen for the first time takes its icons from
    // FileName. When the icons cannot be had the index may point past the image lists' end.
    std::int32_t GetIconIndex(const QString &FileName, const QString &FileType, std::int32_t Attributes);
    // Rebuilds the columns: name, then the members of SubItems, captioned by the default texts.
    void InitColumns();
    // Sorts the rows with SortBy and shows it as the header's sort indicator. The rows are taken
    // out and put back in order, keeping the current row, the selection and the scroll position.
    void SortRows();

    // The image index of a row; -1 for rows this view did not make.
    static std::int32_t ImageIndex(const QTreeWidgetItem *Item);
    // 16 x 16 and 32 x 32 icons by image index, and the file types they belong to.
    const QList<QIcon> &SmallImages() const { return FSmallImages; }
    const QList<QIcon> &LargeImages() const { return FLargeImages; }
    const QStringList &IconFileTypes() const { return FIconFileTypes; }

    TGetFileDescriptionEvent OnGetFileDescription;
    TOnAddFileEvent OnAddFile;

protected:
    // A click on a column header: that column ascending, a second click descending, a third
    // ascending again.
    virtual void ColumnClick(int Column);
    void Loaded() override;

private:
    int SortColumn() const;
    bool SortableColumn() const;
    void ShowSortIndicator();
    void PutInSortOrder(QList<QTreeWidgetItem *> &rows) const;
    void AddRow(QTreeWidgetItem *item);
    void FitColumns();
    QString Caption(const QString &fileName) const;

    QString FPath;
    QString FFilter;
    bool FHideFileExt = false;
    TSubItems FSubItems{siDescription, siTime, siSize};
    QStringList FColumnHeader;
    std::int32_t FSortBy = 0;
    QStringList FIconFileTypes;
    QHash<QString, std::int32_t> FIconIndex;
    QList<QIcon> FSmallImages;
    QList<QIcon> FLargeImages;
    // The rows of a ReadFiles pass in progress, inserted together at its end.
    QList<QTreeWidgetItem *> *FPending = nullptr;
    // The last file time written during a ReadFiles pass, and its text.
    QDateTime FLastTime;
    QString FLastTimeText;
};

} // namespace wn
