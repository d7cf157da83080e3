#include "controls/FLView.h"

#include "framework/Exceptions.h"
#include "framework/RegularFile_p.h"
#include "framework/SysUtils.h"
#include "framework/UiServices.h"
#include "util/KVUtil.h"

#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLocale>
#include <QScrollBar>

#include <algorithm>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wn {

namespace {

const char *const SColumnName = "Name";
const char *const SColumnDescription = "Description";
const char *const SColumnLastChange = "Last change";
const char *const SColumnSize = "Size (B)";

// Column positions with special comparisons, as laid out when all detail columns are present.
constexpr int kDateColumn = 2;
constexpr int kSizeColumn = 3;
constexpr int kMaxDescription = 60;
// More entries than this turn the cursor into the hourglass.
constexpr int kEntriesBeforeHourglass = 25;

QStringList DefaultColumnHeader()
{
    return {QLatin1String(SColumnName), QLatin1String(SColumnDescription), QLatin1String(SColumnLastChange),
            QLatin1String(SColumnSize)};
}

bool IsDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

qsizetype RunEnd(QStringView text, qsizetype start)
{
    const bool digits = IsDigit(text[start]);
    qsizetype end = start + 1;
    while (end < text.size() && IsDigit(text[end]) == digits)
        ++end;
    return end;
}

// Case-sensitive, by UTF-16 code units.
int CompareOtherRuns(QStringView a, QStringView b)
{
    const qsizetype common = std::min(a.size(), b.size());
    for (qsizetype k = 0; k < common; ++k)
        if (a[k] != b[k])
            return a[k].unicode() < b[k].unicode() ? -1 : 1;
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

// Two digit runs by value: padding the shorter with leading "0" to equal length and comparing the
// strings is comparing the runs without their leading zeros, the longer being larger.
int CompareDigitRuns(QStringView a, QStringView b)
{
    while (a.size() > 1 && a.front() == QLatin1Char('0'))
        a = a.sliced(1);
    while (b.size() > 1 && b.front() == QLatin1Char('0'))
        b = b.sliced(1);
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return CompareOtherRuns(a, b);
}

bool SameLetter(QChar a, QChar b)
{
    return a == b || a.toCaseFolded() == b.toCaseFolded();
}

// "*" any run of characters, "?" exactly one; backtracks to the last "*" only, which is enough
// for masks of this kind.
bool MatchesWildcards(QStringView name, QStringView mask)
{
    qsizetype n = 0;
    qsizetype m = 0;
    qsizetype starMask = -1;
    qsizetype starName = 0;
    while (n < name.size()) {
        if (m < mask.size() && mask[m] == QLatin1Char('*')) {
            starMask = m++;
            starName = n;
        } else if (m < mask.size() && (mask[m] == QLatin1Char('?') || SameLetter(mask[m], name[n]))) {
            ++n;
            ++m;
        } else if (starMask >= 0) {
            m = starMask + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    while (m < mask.size() && mask[m] == QLatin1Char('*'))
        ++m;
    return m == mask.size();
}

// Reads the texts DateTimeToStr writes with the present FormatSettings: the numbers of the text
// fill the numeric fields of the short date and long time patterns in their order, a month name
// fills a month-name field, "am"/"pm" the half of the day; day names and literal words are passed
// over. Without time the text stands for midnight.
class TDateTimeReader
{
public:
    TDateTimeReader()
    {
        const TFormatSettings &fs = FormatSettings();
        AddFields(fs.ShortDateFormat);
        AddFields(fs.LongTimeFormat);
    }

    // A number that orders date-times: milliseconds from the start of the Julian day count.
    bool Read(const QString &text, qint64 &key) const
    {
        int values[kFieldCount] = {-1, -1, -1, 0, 0, 0, 0};
        int yearDigits = 4;
        int half = -1; // 0 am, 1 pm
        std::size_t next = 0;
        bool anyNumber = false;
        for (qsizetype i = 0; i < text.size();) {
            qsizetype end = i + 1;
            if (IsDigit(text[i])) {
                while (end < text.size() && IsDigit(text[end]))
                    ++end;
                if (next >= FFields.size() || FFields[next] == fMonthName || end - i > 9)
                    return false;
                if (FFields[next] == fYear)
                    yearDigits = int(end - i);
                values[FFields[next++]] = text.mid(i, end - i).toInt();
                anyNumber = true;
            } else if (text[i].isLetter()) {
                while (end < text.size() && text[end].isLetter())
                    ++end;
                const QString word = text.mid(i, end - i).toLower();
                if (next < FFields.size() && FFields[next] == fMonthName) {
                    const int month = MonthOfName(word);
                    if (month < 0)
                        return false;
                    values[fMonth] = month;
                    ++next;
                } else if (word == QLatin1String("am") || word == QLatin1String("a")) {
                    half = 0;
                } else if (word == QLatin1String("pm") || word == QLatin1String("p")) {
                    half = 1;
                }
            }
            i = end;
        }
        if (!anyNumber || values[fDay] < 0 || values[fMonth] < 0 || values[fYear] < 0)
            return false;
        int year = values[fYear];
        if (yearDigits <= 2)
            year += year + 2000 <= QDate::currentDate().year() + 50 ? 2000 : 1900;
        int hour = values[fHour];
        if (half >= 0 && hour <= 12)
            hour = hour % 12 + 12 * half;
        const QDate date(year, values[fMonth], values[fDay]);
        const QTime time(hour, values[fMinute], values[fSecond], values[fMSec]);
        if (!date.isValid() || !time.isValid())
            return false;
        key = date.toJulianDay() * qint64(86400000) + time.msecsSinceStartOfDay();
        return true;
    }

private:
    enum TField { fDay, fMonth, fYear, fHour, fMinute, fSecond, fMSec, fMonthName, kFieldCount = fMonthName };

    static int MonthOfName(const QString &word)
    {
        const QLocale names = QLocale::c();
        for (int month = 1; month <= 12; ++month)
            if (word == names.monthName(month, QLocale::ShortFormat).toLower() ||
                word == names.monthName(month, QLocale::LongFormat).toLower())
                return month;
        return -1;
    }

    // The fields in the runtime's pattern tokens (d, m, y, h, n, s, z; m right after an hour is
    // minutes; text in quotes is literal).
    void AddFields(const QString &pattern)
    {
        bool afterHour = false;
        for (qsizetype i = 0; i < pattern.size();) {
            const QChar c = pattern[i];
            if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
                const qsizetype close = pattern.indexOf(c, i + 1);
                i = close < 0 ? pattern.size() : close + 1;
                continue;
            }
            const char16_t lower = c.toLower().unicode();
            qsizetype run = 1;
            while (i + run < pattern.size() && pattern[i + run].toLower() == c.toLower())
                ++run;
            switch (lower) {
            case 'd':
                if (run <= 2)
                    FFields.push_back(fDay);
                break;
            case 'm':
                FFields.push_back(afterHour && run <= 2 ? fMinute : run <= 2 ? fMonth : fMonthName);
                break;
            case 'y': FFields.push_back(fYear); break;
            case 'h': FFields.push_back(fHour); break;
            case 'n': FFields.push_back(fMinute); break;
            case 's': FFields.push_back(fSecond); break;
            case 'z': FFields.push_back(fMSec); break;
            default: break;
            }
            if (lower == 'h')
                afterHour = true;
            else if (c.isLetter())
                afterHour = false;
            i += run;
        }
    }

    std::vector<TField> FFields;
};

// What a row is sorted by: its text in the sorted column, read as the column's kind.
struct TSortKey {
    int Column = 0;
    QString Text;
    qint64 Value = 0;
    bool Valid = false;
};

TSortKey MakeSortKey(const QString &text, int column, const TDateTimeReader &dates)
{
    TSortKey key;
    key.Column = column;
    if (column == kDateColumn) {
        key.Valid = dates.Read(text, key.Value);
    } else if (column == kSizeColumn) {
        key.Value = Trim(text).toLongLong(&key.Valid);
    } else {
        key.Text = text;
    }
    return key;
}

int CompareSortKeys(const TSortKey &a, const TSortKey &b)
{
    if (a.Column != kDateColumn && a.Column != kSizeColumn)
        return NaturalCompare(a.Text, b.Text);
    // A text that cannot be read sorts first, like the smallest value.
    if (a.Valid != b.Valid)
        return a.Valid ? 1 : -1;
    return a.Value < b.Value ? -1 : a.Value > b.Value ? 1 : 0;
}

class TFileListItem : public QTreeWidgetItem
{
public:
    static constexpr int Type = QTreeWidgetItem::UserType + 1;

    TFileListItem() : QTreeWidgetItem(Type) {}

    std::int32_t ImageIndex = -1;
};

// Puts rows in the order of SortBy: stable, so rows that compare equal keep their order.
void SortItems(QList<QTreeWidgetItem *> &items, int column, bool descending)
{
    const TDateTimeReader dates;
    std::vector<std::pair<TSortKey, QTreeWidgetItem *>> keyed;
    keyed.reserve(std::size_t(items.size()));
    for (QTreeWidgetItem *item : items)
        keyed.emplace_back(MakeSortKey(item->text(column), column, dates), item);
    std::stable_sort(keyed.begin(), keyed.end(), [descending](const auto &a, const auto &b) {
        return (descending ? CompareSortKeys(b.first, a.first) : CompareSortKeys(a.first, b.first)) < 0;
    });
    for (std::size_t i = 0; i < keyed.size(); ++i)
        items[qsizetype(i)] = keyed[i].second;
}

// The modification time in local time, in whole seconds as a folder search gives it. Built from
// localtime_r and its offset, because a local QDateTime consults the time-zone files again for
// every file.
QDateTime FileTime(const struct stat &info)
{
    const time_t seconds = info.st_mtim.tv_sec;
    struct tm local {};
    if (!::localtime_r(&seconds, &local))
        return QDateTime::fromSecsSinceEpoch(qint64(seconds), Qt::UTC);
    return QDateTime(QDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday),
                     QTime(local.tm_hour, local.tm_min, qMin(local.tm_sec, 59)), Qt::OffsetFromUTC,
                     int(local.tm_gmtoff));
}

// One entry of a folder as the search gives it; false for folders and for entries that are gone.
bool FindEntry(int folder, const QString &name, TSearchRec &rec)
{
    const QByteArray native = QFile::encodeName(name);
    struct stat info {};
    rec.Name = name;
    rec.Attr = 0;
    rec.Regular = false;
    if (::fstatat(folder, native.constData(), &info, 0) == 0) {
        if (S_ISDIR(info.st_mode))
            return false;
        rec.Regular = S_ISREG(info.st_mode);
        rec.Size = rec.Regular ? std::int64_t(info.st_size) : 0;
        rec.Time = FileTime(info);
        return true;
    }
    // A link that leads nowhere (or round in circles) is still an entry: shown as itself.
    if (::fstatat(folder, native.constData(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    rec.Size = 0;
    rec.Time = FileTime(info);
    return true;
}

bool CanEnter(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    struct stat info {};
    return ::stat(native.constData(), &info) == 0 && S_ISDIR(info.st_mode) &&
           ::access(native.constData(), X_OK) == 0;
}

// Puts the screen cursor back whichever way ReadFiles ends.
class TCursorRestorer
{
public:
    TCursorRestorer() : FSaved(UiServices().ScreenCursor()) {}
    ~TCursorRestorer() { UiServices().SetScreenCursor(FSaved); }
    TCursorRestorer(const TCursorRestorer &) = delete;
    TCursorRestorer &operator=(const TCursorRestorer &) = delete;

private:
    TCursor FSaved;
};

// Collects the rows of one pass of ReadFiles; rows not handed over are freed.
class TPendingRows
{
public:
    explicit TPendingRows(QList<QTreeWidgetItem *> *&slot) : FSlot(slot) { FSlot = &FRows; }
    ~TPendingRows()
    {
        FSlot = nullptr;
        qDeleteAll(FRows);
    }
    TPendingRows(const TPendingRows &) = delete;
    TPendingRows &operator=(const TPendingRows &) = delete;

    QList<QTreeWidgetItem *> Release()
    {
        FSlot = nullptr;
        return std::exchange(FRows, {});
    }

private:
    QList<QTreeWidgetItem *> *&FSlot;
    QList<QTreeWidgetItem *> FRows;
};

// An open folder and the names in it, hidden ones left out.
class TFolderListing
{
public:
    explicit TFolderListing(const QString &path)
    {
        FDir = ::opendir(QFile::encodeName(path).constData());
        if (!FDir)
            return;
        while (const dirent *entry = ::readdir(FDir)) {
            if (entry->d_name[0] == '.' || entry->d_type == DT_DIR)
                continue;
            Names.append(QFile::decodeName(entry->d_name));
        }
    }
    ~TFolderListing()
    {
        if (FDir)
            ::closedir(FDir);
    }
    TFolderListing(const TFolderListing &) = delete;
    TFolderListing &operator=(const TFolderListing &) = delete;

    int Fd() const { return FDir ? ::dirfd(FDir) : -1; }

    QStringList Names;

private:
    DIR *FDir = nullptr;
};

} // namespace

bool MatchesFileMask(QStringView Name, QStringView Mask)
{
    if (Mask.isEmpty())
        return false;
    if (MatchesWildcards(Name, Mask))
        return true;
    return Mask.endsWith(QLatin1String(".*")) && !Name.contains(QLatin1Char('.')) &&
           MatchesWildcards(Name, Mask.chopped(2));
}

int NaturalCompare(QStringView A, QStringView B)
{
    // Runs before the first differing character are alike in both texts and compare equal, so the
    // comparison starts with the run that holds the last common character.
    const qsizetype common = std::min(A.size(), B.size());
    qsizetype start = 0;
    while (start < common && A[start] == B[start])
        ++start;
    if (start == A.size() && start == B.size())
        return 0;
    if (start > 0) {
        const bool digits = IsDigit(A[start - 1]);
        while (start > 0 && IsDigit(A[start - 1]) == digits)
            --start;
    }
    qsizetype i = start;
    qsizetype j = start;
    while (i < A.size() && j < B.size()) {
        const qsizetype endA = RunEnd(A, i);
        const qsizetype endB = RunEnd(B, j);
        const QStringView runA = A.sliced(i, endA - i);
        const QStringView runB = B.sliced(j, endB - j);
        const int c = IsDigit(runA.front()) && IsDigit(runB.front()) ? CompareDigitRuns(runA, runB)
                                                                     : CompareOtherRuns(runA, runB);
        if (c != 0)
            return c < 0 ? -1 : 1;
        i = endA;
        j = endB;
    }
    if (i < A.size())
        return 1;
    return j < B.size() ? -1 : 0;
}

TFileListView::TFileListView(QWidget *parent) : QTreeWidget(parent), FColumnHeader(DefaultColumnHeader())
{
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setIconSize(QSize(16, 16));
    // Columns keep the widths that fit them, as in a file manager's detail view.
    header()->setStretchLastSection(false);
    // Widths fit the header and the rows in sight; measuring every row of a big folder would
    // cost as much as reading it.
    header()->setResizeContentsPrecision(0);
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);
    connect(header(), &QHeaderView::sectionClicked, this, [this](int section) { ColumnClick(section); });
    InitColumns();
}

TFileListView::~TFileListView() = default;

void TFileListView::SetPath(const QString &P)
{
    FPath = P;
    if (!FPath.isEmpty() && !FPath.endsWith(QLatin1Char('/')))
        FPath += QLatin1Char('/');
    if (!LoadingState())
        ReadFiles();
}

void TFileListView::SetFilter(const QString &F)
{
    FFilter = F;
    if (!LoadingState())
        ReadFiles();
}

void TFileListView::SetSubItems(TSubItems S)
{
    if (S == FSubItems)
        return;
    FSubItems = S;
    if (!LoadingState())
        ReadFiles();
}

void TFileListView::Loaded()
{
    ReadFiles();
}

void TFileListView::ReadFiles()
{
    const TCursorRestorer cursor;
    clear();
    InitColumns();
    if (!FPath.isEmpty() && !CanEnter(FPath)) {
        FPath = QDir::currentPath();
        if (!FPath.endsWith(QLatin1Char('/')))
            FPath += QLatin1Char('/');
    }
    const TFolderListing folder(FPath.isEmpty() ? QStringLiteral(".") : FPath);
    // The rows go into the view together: one insertion instead of one per file.
    TPendingRows pending(FPending);
    FLastTimeText = QString();
    int entries = 0;
    const QStringList masks = FFilter.split(QLatin1Char(';'));
    for (const QString &mask : masks) {
        const QString trimmed = mask.trimmed();
        if (trimmed.isEmpty())
            continue;
        for (const QString &name : folder.Names) {
            TSearchRec rec;
            if (!MatchesFileMask(name, trimmed) || !FindEntry(folder.Fd(), name, rec))
                continue;
            if (++entries == kEntriesBeforeHourglass + 1)
                UiServices().SetScreenCursor(crHourGlass);
            AddFile(rec);
        }
    }
    QList<QTreeWidgetItem *> rows = pending.Release();
    PutInSortOrder(rows);
    addTopLevelItems(rows);
    ShowSortIndicator();
    FitColumns();
}

QString TFileListView::Caption(const QString &fileName) const
{
    if (!FHideFileExt)
        return fileName;
    const qsizetype dot = fileName.indexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : fileName.left(dot);
}

void TFileListView::AddFile(const TSearchRec &SearchRec)
{
    const QString type = GetFileType(SearchRec.Name);
    if (OnAddFile) {
        bool allowAdd = true;
        OnAddFile(this, SearchRec.Name, UpperCase(type), allowAdd);
        if (!allowAdd)
            return;
    }
    const QString fileName = FPath + SearchRec.Name;
    auto item = std::make_unique<TFileListItem>();
    item->ImageIndex = GetIconIndex(fileName, type, SearchRec.Attr);
    item->setText(0, Caption(SearchRec.Name));
    int column = 1;
    if (FSubItems.contains(siDescription)) {
        QString description;
        // A file that cannot be read is still listed; it just has nothing to say.
        try {
            std::optional<TSeenRegularFile> seen;
            if (SearchRec.Regular)
                seen.emplace(fileName);
            GetFileDescription(fileName, type, description);
        } catch (const Exception &) {
            description.clear();
        }
        if (OnGetFileDescription)
            OnGetFileDescription(this, fileName, description);
        item->setText(column++, description.left(kMaxDescription));
    }
    if (FSubItems.contains(siTime)) {
        // Files saved together share their time; writing it once per pass saves a good part of
        // filling a big folder.
        if (!FPending || FLastTimeText.isNull() || SearchRec.Time != FLastTime ||
            SearchRec.Time.offsetFromUtc() != FLastTime.offsetFromUtc()) {
            FLastTime = SearchRec.Time;
            FLastTimeText = DateTimeToStr(SearchRec.Time);
        }
        item->setText(column++, FLastTimeText);
    }
    if (FSubItems.contains(siSize)) {
        item->setText(column, QString::number(SearchRec.Size));
        item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (item->ImageIndex < FSmallImages.size())
        item->setIcon(0, FSmallImages[item->ImageIndex]);
    AddRow(item.release());
}

void TFileListView::AddRow(QTreeWidgetItem *item)
{
    if (FPending)
        FPending->append(item);
    else
        addTopLevelItem(item);
}

void TFileListView::AddFileDirect(const QString &FileName, const QString &Description)
{
    auto item = std::make_unique<TFileListItem>();
    item->ImageIndex = GetIconIndex(FPath + FileName, GetFileType(FileName), faArchive);
    item->setText(0, Caption(FileName));
    int column = 1;
    if (FSubItems.contains(siDescription))
        item->setText(column++, Description);
    if (FSubItems.contains(siTime))
        item->setText(column++, QStringLiteral("0"));
    if (FSubItems.contains(siSize)) {
        item->setText(column, QStringLiteral("0"));
        item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (item->ImageIndex < FSmallImages.size())
        item->setIcon(0, FSmallImages[item->ImageIndex]);
    AddRow(item.release());
}

bool TFileListView::GetFileItem(const QString &FileName, QTreeWidgetItem *&Item) const
{
    for (int i = 0; i < topLevelItemCount(); ++i) {
        if (CompareText(topLevelItem(i)->text(0), FileName) == 0) {
            Item = topLevelItem(i);
            return true;
        }
    }
    return false;
}

void TFileListView::Delete(QTreeWidgetItem *Item)
{
    delete Item;
}

std::int32_t TFileListView::GetItemsCount() const
{
    return topLevelItemCount();
}

std::int32_t TFileListView::GetIconIndex(const QString &FileName, const QString &FileType,
                                         std::int32_t Attributes)
{
    const auto known = FIconIndex.constFind(FileType);
    if (known != FIconIndex.constEnd())
        return *known;
    QIcon large;
    QIcon small;
    GetFileIcons(FileName, FileType, Attributes, large, small);
    // A missing icon adds nothing; the lists then fall behind the types.
    if (!small.isNull())
        FSmallImages.append(small);
    if (!large.isNull())
        FLargeImages.append(large);
    FIconFileTypes.append(FileType);
    const auto index = std::int32_t(FIconFileTypes.size() - 1);
    FIconIndex.insert(FileType, index);
    return index;
}

void TFileListView::InitColumns()
{
    FColumnHeader = DefaultColumnHeader();
    QStringList captions{FColumnHeader[0]};
    if (FSubItems.contains(siDescription))
        captions.append(FColumnHeader[1]);
    if (FSubItems.contains(siTime))
        captions.append(FColumnHeader[2]);
    if (FSubItems.contains(siSize))
        captions.append(FColumnHeader[3]);
    setColumnCount(int(captions.size()));
    setHeaderLabels(captions);
    if (FSubItems.contains(siSize))
        headerItem()->setTextAlignment(columnCount() - 1, Qt::AlignRight | Qt::AlignVCenter);
    FitColumns();
}

void TFileListView::FitColumns()
{
    for (int column = 0; column < columnCount(); ++column)
        resizeColumnToContents(column);
}

int TFileListView::SortColumn() const
{
    return FSortBy >= SortByDescending ? FSortBy - SortByDescending : FSortBy;
}

bool TFileListView::SortableColumn() const
{
    return SortColumn() >= 0 && SortColumn() < columnCount();
}

void TFileListView::ShowSortIndicator()
{
    header()->setSortIndicator(SortableColumn() ? SortColumn() : -1,
                               FSortBy >= SortByDescending ? Qt::DescendingOrder : Qt::AscendingOrder);
}

void TFileListView::PutInSortOrder(QList<QTreeWidgetItem *> &rows) const
{
    if (SortableColumn())
        SortItems(rows, SortColumn(), FSortBy >= SortByDescending);
}

void TFileListView::SortRows()
{
    ShowSortIndicator();
    if (!SortableColumn() || topLevelItemCount() < 2)
        return;
    // The rows leave the view and come back in order: one removal and one insertion, cheaper
    // than the view's own sort with its item-by-item comparisons. What the user had selected,
    // the current row and the scroll position are kept.
    QTreeWidgetItem *current = currentItem();
    const QList<QTreeWidgetItem *> selected = selectedItems();
    const int scrolled = verticalScrollBar()->value();
    QList<QTreeWidgetItem *> rows = invisibleRootItem()->takeChildren();
    PutInSortOrder(rows);
    addTopLevelItems(rows);
    if (current)
        setCurrentItem(current, 0, QItemSelectionModel::NoUpdate);
    for (QTreeWidgetItem *item : selected)
        item->setSelected(true);
    verticalScrollBar()->setValue(scrolled);
}

void TFileListView::ColumnClick(int Column)
{
    FSortBy = FSortBy == Column ? Column + SortByDescending : Column;
    SortRows();
}

std::int32_t TFileListView::ImageIndex(const QTreeWidgetItem *Item)
{
    return Item && Item->type() == TFileListItem::Type ? static_cast<const TFileListItem *>(Item)->ImageIndex
                                                       : -1;
}

} // namespace wn
