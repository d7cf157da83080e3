#include "grid/KVRasterNeu.h"

#include "framework/CodePages.h"
#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QSaveFile>
#include <QStringBuilder>
#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace wn {

namespace {

// Message texts.
const char *const cInvalidFloatText = "Invalid floating point operation";
const char *const cCellExceedsFileText = "Cell size of %1 bytes exceeds the file";
const char *const cDamagedStructureText = "Damaged grid structure: %1 W1 channels of %2 W2 channels";
const char *const cSpecialBufferText = "Special block buffer is smaller than its section";

constexpr std::int64_t cMinMaxEntrySize = 16;
constexpr std::int64_t cNameEntrySize = 256;
constexpr int cMaxCommentLen = 80;
constexpr int cCommentSlot = cMaxCommentLen + 1;
// The zero fill of a new data area goes out in large pieces: the piece size leaves no trace in
// the file, and small pieces would cost one system call each.
constexpr std::int64_t cZeroFillPiece = 1 << 20;
constexpr std::int64_t cCachePiece = 4 << 10;
// No grid of the suite comes near this many W values per node.
constexpr std::int64_t cMaxQueryLines = 1 << 20;
// Positions and sizes stay far below this, so that adding a piece to one never overflows.
constexpr std::int64_t cMaxFilePos = std::numeric_limits<std::int64_t>::max() / 2;

std::uint16_t GetU16(const std::uint8_t *p)
{
    return qFromLittleEndian<quint16>(p);
}

float GetSingle(const std::uint8_t *p)
{
    return qFromLittleEndian<float>(p);
}

void PutSingle(std::uint8_t *p, float v)
{
    qToLittleEndian(v, p);
}

QByteArray SectionHeader(std::uint16_t len, TKennung kennung)
{
    QByteArray h(3, '\0');
    qToLittleEndian(len, h.data());
    h[2] = char(kennung);
    return h;
}

// Round half to even into a whole number; what cannot be one raises like the runtime's Round.
std::int64_t RoundToInt(double v)
{
    const double r = std::nearbyint(v);
    if (!(r >= -9.2e18 && r <= 9.2e18))
        throw EConvertError(QString::fromLatin1(cInvalidFloatText));
    return static_cast<std::int64_t>(r);
}

// Node index (from 1) nearest to a grid coordinate t, clamped into 1..count.
std::int64_t NodeIndex(double t, std::int64_t count)
{
    if (std::isnan(t))
        throw EConvertError(QString::fromLatin1(cInvalidFloatText));
    double r = std::nearbyint(t) + 1.0;
    if (r > double(count))
        r = double(count);
    if (r < 1.0)
        r = 1.0;
    return static_cast<std::int64_t>(r);
}

QByteArray NameEntry(const TInfoItem &item)
{
    QByteArray entry(cNameEntrySize, '\0');
    const QByteArray text = ToWin1252(item.Name + QLatin1Char('|') + item.Unit).left(255);
    entry[0] = char(text.size());
    std::memcpy(entry.data() + 1, text.constData(), text.size());
    return entry;
}

QByteArray MinMaxEntry(const TInfoItem &item)
{
    QByteArray entry(cMinMaxEntrySize, '\0');
    auto *p = reinterpret_cast<std::uint8_t *>(entry.data());
    PutSingle(p, item.Min);
    PutSingle(p + 4, item.Max);
    PutSingle(p + 8, item.Offset);
    PutSingle(p + 12, item.Factor);
    return entry;
}

void FillList(TInfoList &list, std::int64_t count)
{
    list.clear();
    while (std::int64_t(list.size()) < count)
        list.push_back(std::make_unique<TInfoItem>());
}

void GrowList(TInfoList &list, std::int64_t count)
{
    while (std::int64_t(list.size()) < count)
        list.push_back(std::make_unique<TInfoItem>());
}

TInfoItem *ItemOf(const TInfoList &list, std::int32_t i)
{
    if (i < 1 || i > std::int32_t(list.size()))
        return nullptr;
    return list[std::size_t(i - 1)].get();
}

QString ValueText(double v)
{
    return FloatToStrF(v, ffGeneral, 15, 2);
}

// Opens a closed file for the length of one call and closes it again; an open file stays open.
class TOpenForCall
{
public:
    explicit TOpenForCall(TRKFile &file) : FFile(file), FOpened(!file.IsOpen())
    {
        if (FOpened)
            FFile.OpenGridFile();
    }
    ~TOpenForCall()
    {
        if (FOpened)
            FFile.CloseGridFile();
    }
    TOpenForCall(const TOpenForCall &) = delete;
    TOpenForCall &operator=(const TOpenForCall &) = delete;

private:
    TRKFile &FFile;
    bool FOpened;
};

} // namespace

std::int32_t WertSizeOf(std::uint8_t wertType)
{
    return wertType < cWertSize.size() ? cWertSize[wertType] : 0;
}

std::array<std::uint8_t, TrecRlkStruktur::cSize> TrecRlkStruktur::ToBytes() const
{
    std::array<std::uint8_t, cSize> b{};
    qToLittleEndian(Columns, &b[0]);
    qToLittleEndian(Rows, &b[2]);
    qToLittleEndian(ZLevels, &b[4]);
    qToLittleEndian(XOrigin, &b[6]);
    qToLittleEndian(YOrigin, &b[14]);
    qToLittleEndian(ZOrigin, &b[22]);
    std::copy(Reserved30.begin(), Reserved30.end(), b.begin() + 30);
    qToLittleEndian(dx, &b[46]);
    qToLittleEndian(dy, &b[50]);
    std::copy(Reserved54.begin(), Reserved54.end(), b.begin() + 54);
    qToLittleEndian(nW1, &b[58]);
    qToLittleEndian(nW2, &b[60]);
    qToLittleEndian(nH, &b[62]);
    b[64] = TypeH;
    b[65] = TypeW1;
    b[66] = TypeW2;
    return b;
}

TrecRlkStruktur TrecRlkStruktur::FromBytes(const std::uint8_t *b)
{
    TrecRlkStruktur s;
    s.Columns = qFromLittleEndian<quint16>(b);
    s.Rows = qFromLittleEndian<quint16>(b + 2);
    s.ZLevels = qFromLittleEndian<quint16>(b + 4);
    s.XOrigin = qFromLittleEndian<double>(b + 6);
    s.YOrigin = qFromLittleEndian<double>(b + 14);
    s.ZOrigin = qFromLittleEndian<double>(b + 22);
    std::copy(b + 30, b + 46, s.Reserved30.begin());
    s.dx = qFromLittleEndian<float>(b + 46);
    s.dy = qFromLittleEndian<float>(b + 50);
    std::copy(b + 54, b + 58, s.Reserved54.begin());
    s.nW1 = qFromLittleEndian<quint16>(b + 58);
    s.nW2 = qFromLittleEndian<quint16>(b + 60);
    s.nH = qFromLittleEndian<quint16>(b + 62);
    s.TypeH = b[64];
    s.TypeW1 = b[65];
    s.TypeW2 = b[66];
    return s;
}

void TInfoItem::assign(const TInfoItem &Source)
{
    Name = Source.Name;
    Unit = Source.Unit;
    Min = Source.Min;
    Max = Source.Max;
    Offset = Source.Offset;
    Factor = Source.Factor;
}

TRKFile::TRKFile(const QString &FileName) : FFileName(FileName) {}

TRKFile::~TRKFile()
{
    CloseGridFile();
}

void TRKFile::Open(QIODevice::OpenMode Mode)
{
    CloseGridFile();
    FFile.setFileName(FFileName);
    // Unbuffered: every read, write and seek reaches the OS at once, so its failure is seen
    // where it happens and the file position is the OS position.
    CheckFileOp(FFile, ENOENT,
                [&] { return FFile.open(Mode | QIODevice::ExistingOnly | QIODevice::Unbuffered); });
    FOpen = true;
}

bool TRKFile::IsGridFile(const QString &FileName)
{
    QFile file(FileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(3 + TrecRlkStruktur::cSize);
    const auto *b = reinterpret_cast<const std::uint8_t *>(head.constData());
    if (head.size() < 3 + TrecRlkStruktur::cSize || GetU16(b) != TrecRlkStruktur::cSize ||
        b[2] != kGridStruct)
        return false;
    const TrecRlkStruktur s = TrecRlkStruktur::FromBytes(b + 3);
    return s.TypeH <= cwtSingle && s.TypeW1 <= cwtSingle && s.TypeW2 <= cwtSingle;
}

void TRKFile::OpenGridFile()
{
    Open(QIODevice::ReadWrite);
}

void TRKFile::OpenGridFileReadOnly()
{
    Open(QIODevice::ReadOnly);
}

void TRKFile::CloseGridFile()
{
    if (FOpen)
        FFile.close();
    FOpen = false;
    FPos = 0;
    FCache.resize(0);
}

void TRKFile::CheckOpen() const
{
    if (!FOpen)
        throw EInOutError::FromErrno(cInOutFileNotOpen, FFileName);
}

// The file position is kept here and handed to the OS with the next transfer.
void TRKFile::SeekTo(std::int64_t Pos)
{
    if (Pos < 0)
        throw EInOutError::FromErrno(EINVAL, FFileName);
    FPos = Pos;
}

void TRKFile::SeekFile()
{
    CheckFileOp(FFile, EINVAL, [&] { return FFile.seek(FPos); });
}

std::int64_t TRKFile::ReadFile(void *Buffer, std::int64_t Count)
{
    SeekFile();
    auto *p = static_cast<char *>(Buffer);
    std::int64_t done = 0;
    while (done < Count) {
        qint64 n = 0;
        CheckFileOp(FFile, EIO, [&] { return (n = FFile.read(p + done, Count - done)) >= 0; });
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

// Section headers and payloads are small and lie together at the start of the file. The point
// query reads them all at once, through one cached piece, so that it costs two reads instead
// of dozens; everything else reads the file directly and sees every change made by others.
std::int64_t TRKFile::ReadSome(void *Buffer, std::int64_t Count)
{
    if (Count <= 0)
        return 0;
    if (!FCaching) {
        const std::int64_t n = ReadFile(Buffer, Count);
        FPos += n;
        return n;
    }
    const bool inCache = FPos >= FCachePos && FPos + Count <= FCachePos + FCache.size();
    if (!inCache) {
        if (Count >= cCachePiece) {
            const std::int64_t n = ReadFile(Buffer, Count);
            FPos += n;
            return n;
        }
        FCache.resize(cCachePiece);
        FCache.resize(ReadFile(FCache.data(), cCachePiece));
        FCachePos = FPos;
    }
    const std::int64_t n = std::min<std::int64_t>(Count, FCachePos + FCache.size() - FPos);
    std::memcpy(Buffer, FCache.constData() + (FPos - FCachePos), std::size_t(n));
    FPos += n;
    return n;
}

void TRKFile::ReadExact(void *Buffer, std::int64_t Count)
{
    if (ReadSome(Buffer, Count) < Count)
        throw EInOutError::FromErrno(cInOutReadBeyondEnd, FFileName);
}

// Cells go straight between the file and the caller's buffer.
void TRKFile::ReadCells(void *Buffer, std::int64_t Count)
{
    const std::int64_t n = ReadFile(Buffer, Count);
    FPos += n;
    if (n < Count)
        throw EInOutError::FromErrno(cInOutReadBeyondEnd, FFileName);
}

void TRKFile::WriteExact(const void *Buffer, std::int64_t Count)
{
    FCache.resize(0);
    if (!FFile.isWritable())
        throw EInOutError::FromErrno(EBADF, FFileName);
    SeekFile();
    const auto *p = static_cast<const char *>(Buffer);
    std::int64_t done = 0;
    while (done < Count) {
        qint64 n = 0;
        CheckFileOp(FFile, EIO, [&] { return (n = FFile.write(p + done, Count - done)) > 0; });
        done += n;
        FPos += n;
    }
}

std::int64_t TRKFile::FileSize() const
{
    return FFile.size();
}

bool TRKFile::SeekKenn(TKennung Kennung, TrecInfo &Info)
{
    CheckOpen();
    if (Kennung > kData)
        return false;
    std::uint8_t head[3];
    const auto takeHeader = [&] {
        Info.Len = GetU16(head);
        Info.Kennung = head[2];
    };
    if (FPositions[Kennung] > 0) {
        SeekTo(FPositions[Kennung]);
        if (ReadSome(head, 3) < 3)
            return false;
        takeHeader();
        return Info.Kennung == Kennung;
    }
    const std::int64_t size = FileSize();
    std::int64_t pos = 0;
    SeekTo(0);
    for (;;) {
        if (ReadSome(head, 3) < 3)
            return false;
        takeHeader();
        if (Info.Kennung == Kennung) {
            FPositions[Kennung] = pos;
            return true;
        }
        if (Info.Kennung == kData)
            return false;
        pos += 3 + Info.Len;
        if (pos > size)
            return false;
        SeekTo(pos);
    }
}

void TRKFile::AssignStructure(const TRKFile &Other)
{
    Comment = Other.Comment.left(cMaxCommentLen);
    Struktur = Other.Struktur;
    CreateInfos(Other.GetHInfo(1) != nullptr, Other.GetZInfo(1) != nullptr, Other.GetW1Info(1) != nullptr,
                Other.GetW2Info(1) != nullptr);
    const auto copy = [](TInfoList &to, const TInfoList &from, std::int64_t count) {
        const std::int64_t n = std::min({count, std::int64_t(to.size()), std::int64_t(from.size())});
        for (std::int64_t i = 0; i < n; ++i)
            to[std::size_t(i)]->assign(*from[std::size_t(i)]);
    };
    copy(HList, Other.HList, Struktur.nH);
    copy(ZList, Other.ZList, Struktur.ZLevels);
    copy(W1List, Other.W1List, Struktur.nW1);
    copy(W2List, Other.W2List, Struktur.nW2);
}

void TRKFile::CalcDimension(double XMin, double YMin, double XMax, double YMax)
{
    const double dx = Struktur.dx;
    const double dy = Struktur.dy;
    const double x0 = double(RoundToInt(XMin / dx)) * dx;
    const double y0 = double(RoundToInt(YMin / dy)) * dy;
    const double x1 = double(RoundToInt(XMax / dx)) * dx + dx;
    const double y1 = double(RoundToInt(YMax / dy)) * dy + dy;
    Struktur.XOrigin = x0;
    Struktur.YOrigin = y0;
    Struktur.Columns = static_cast<std::uint16_t>(RoundToInt((x1 - x0) / dx));
    Struktur.Rows = static_cast<std::uint16_t>(RoundToInt((y1 - y0) / dy));
}

void TRKFile::CreateInfos(bool WithH, bool WithZ, bool WithW1, bool WithW2)
{
    FillList(HList, WithH ? Struktur.nH : 0);
    FillList(ZList, WithZ ? Struktur.ZLevels : 0);
    FillList(W1List, WithW1 ? Struktur.nW1 : 0);
    FillList(W2List, WithW2 ? Struktur.nW2 : 0);
}

QByteArray TRKFile::HeadBytes(const void *Special, std::int32_t SpecialSize) const
{
    QByteArray head;
    const auto structure = Struktur.ToBytes();
    head += SectionHeader(TrecRlkStruktur::cSize, kGridStruct);
    head.append(reinterpret_cast<const char *>(structure.data()), structure.size());

    QByteArray comment(cCommentSlot, '\0');
    const QByteArray commentText = ToWin1252(Comment).left(cMaxCommentLen);
    comment[0] = char(commentText.size());
    std::memcpy(comment.data() + 1, commentText.constData(), commentText.size());
    head += SectionHeader(cCommentSlot, kComment);
    head += comment;

    const std::pair<const TInfoList *, TKennung> minMax[] = {
        {&HList, kHMinMax}, {&W1List, kW1MinMax}, {&W2List, kW2MinMax}};
    for (const auto &[list, kennung] : minMax) {
        if (list->empty())
            continue;
        head += SectionHeader(std::uint16_t(list->size() * cMinMaxEntrySize), kennung);
        for (const auto &item : *list)
            head += MinMaxEntry(*item);
    }
    const std::pair<const TInfoList *, TKennung> names[] = {
        {&HList, kHNames}, {&ZList, kZNames}, {&W1List, kW1Names}, {&W2List, kW2Names}};
    for (const auto &[list, kennung] : names) {
        if (list->empty() || (list->front()->Name.isEmpty() && list->front()->Unit.isEmpty()))
            continue;
        // The length field has 16 bits: more than 255 entries wrap it, as the suite's files do.
        head += SectionHeader(std::uint16_t(list->size() * cNameEntrySize), kennung);
        for (const auto &item : *list)
            head += NameEntry(*item);
    }
    if (SpecialSize > 0 && Special) {
        head += SectionHeader(std::uint16_t(SpecialSize), kSpecial);
        head.append(static_cast<const char *>(Special), SpecialSize);
    }
    head += SectionHeader(0, kData);

    return head;
}

bool TRKFile::CreateEmptyGrid(const void *Special, std::int32_t SpecialSize)
{
    CloseGridFile();
    std::int64_t fill = 0;
    if (qMulOverflow(std::int64_t(Struktur.Columns) * Struktur.Rows, GetDataSize(), &fill) ||
        fill > cMaxFilePos)
        throw EInOutError::FromErrno(EFBIG, FFileName);
    const QByteArray head = HeadBytes(Special, SpecialSize);

    // The new file replaces an old one only once it is complete: a full disk or a crash half
    // way leaves the old file as it was.
    QSaveFile out(FFileName);
    CheckFileOp(out, EACCES, [&] { return out.open(QIODevice::WriteOnly | QIODevice::Unbuffered); });
    // A full disk shows as a short write and answers false; any other failure raises.
    const auto fullDisk = [] { return errno == ENOSPC || errno == EFBIG || errno == 0; };
    const auto put = [&](const char *p, std::int64_t n) {
        ClearOsError();
        const qint64 written = out.write(p, n);
        if (written < 0 && !fullDisk())
            RaiseFileError(out, EIO);
        return written == n;
    };
    if (!put(head.constData(), head.size()))
        return false;
    static const std::vector<char> zeros(cZeroFillPiece, '\0');
    for (std::int64_t left = fill; left > 0;) {
        const std::int64_t piece = std::min(left, cZeroFillPiece);
        if (!put(zeros.data(), piece))
            return false;
        left -= piece;
    }
    ClearOsError();
    if (!out.commit()) {
        if (!fullDisk())
            RaiseFileError(out, EIO);
        return false;
    }
    return true;
}

bool TRKFile::ReadGridStructure()
{
    HList.clear();
    ZList.clear();
    W1List.clear();
    W2List.clear();
    TrecInfo info;
    if (!SeekKenn(kGridStruct, info))
        return false;
    std::uint8_t b[TrecRlkStruktur::cSize];
    ReadExact(b, sizeof b);
    Struktur = TrecRlkStruktur::FromBytes(b);
    return true;
}

void TRKFile::WriteGridStructure()
{
    TrecInfo info;
    if (!SeekKenn(kGridStruct, info))
        return;
    const auto b = Struktur.ToBytes();
    WriteExact(b.data(), b.size());
}

void TRKFile::ReadComment()
{
    TrecInfo info;
    if (!SeekKenn(kComment, info) || info.Len == 0)
        return;
    QByteArray payload(info.Len, '\0');
    ReadExact(payload.data(), payload.size());
    const int len = std::min({int(std::uint8_t(payload[0])), int(payload.size()) - 1, cMaxCommentLen});
    Comment = FromWin1252(payload.mid(1, len));
}

void TRKFile::ReadSpecialStructure(QByteArray &Buffer)
{
    TrecInfo info;
    if (!SeekKenn(kSpecial, info))
        return;
    Buffer.resize(info.Len);
    ReadExact(Buffer.data(), info.Len);
}

void TRKFile::WriteSpecialStructure(const QByteArray &Buffer)
{
    TrecInfo info;
    if (!SeekKenn(kSpecial, info))
        return;
    if (Buffer.size() < info.Len)
        throw EArgumentError(QString::fromLatin1(cSpecialBufferText));
    WriteExact(Buffer.constData(), info.Len);
}

TInfoList *TRKFile::ListOf(TKennung Kennung)
{
    switch (Kennung) {
    case kHMinMax:
    case kHNames: return &HList;
    case kZNames: return &ZList;
    case kW1MinMax:
    case kW1Names: return &W1List;
    case kW2MinMax:
    case kW2Names: return &W2List;
    default: return nullptr;
    }
}

std::uint16_t TRKFile::CountOf(TKennung Kennung) const
{
    switch (Kennung) {
    case kHMinMax:
    case kHNames: return Struktur.nH;
    case kZNames: return Struktur.ZLevels;
    case kW1MinMax:
    case kW1Names: return Struktur.nW1;
    case kW2MinMax:
    case kW2Names: return Struktur.nW2;
    default: return 0;
    }
}

std::int64_t TRKFile::ReadListSection(TKennung Kennung, std::int64_t EntrySize, QByteArray &Payload)
{
    const std::int64_t count = CountOf(Kennung);
    GrowList(*ListOf(Kennung), count);
    TrecInfo info;
    if (!SeekKenn(Kennung, info))
        return 0;
    Payload = QByteArray(info.Len, '\0');
    ReadExact(Payload.data(), Payload.size());
    return std::min(count, std::int64_t(info.Len) / EntrySize);
}

void TRKFile::ReadMinMax(TKennung Kennung)
{
    if (Kennung != kHMinMax && Kennung != kW1MinMax && Kennung != kW2MinMax)
        return;
    TInfoList &list = *ListOf(Kennung);
    QByteArray payload;
    // Entries the payload does not cover keep their values.
    const std::int64_t n = ReadListSection(Kennung, cMinMaxEntrySize, payload);
    for (std::int64_t i = 0; i < n; ++i) {
        const auto *p = reinterpret_cast<const std::uint8_t *>(payload.constData()) + i * cMinMaxEntrySize;
        TInfoItem &item = *list[std::size_t(i)];
        item.Min = GetSingle(p);
        item.Max = GetSingle(p + 4);
        item.Offset = GetSingle(p + 8);
        item.Factor = GetSingle(p + 12);
    }
}

void TRKFile::ReadAllMinMax()
{
    ReadMinMax(kHMinMax);
    ReadMinMax(kW1MinMax);
    ReadMinMax(kW2MinMax);
}

void TRKFile::WriteListEntries(TKennung Kennung, QByteArray (*Entry)(const TInfoItem &))
{
    if (Kennung != kHMinMax && Kennung != kW1MinMax && Kennung != kW2MinMax)
        return;
    TrecInfo info;
    if (!SeekKenn(Kennung, info))
        return;
    QByteArray entries;
    for (const auto &item : *ListOf(Kennung))
        entries += Entry(*item);
    WriteExact(entries.constData(), entries.size());
}

void TRKFile::WriteMinMax(TKennung Kennung)
{
    WriteListEntries(Kennung, MinMaxEntry);
}

void TRKFile::WriteHMinMax()
{
    WriteMinMax(kHMinMax);
}
void TRKFile::WriteW1MinMax()
{
    WriteMinMax(kW1MinMax);
}
void TRKFile::WriteW2MinMax()
{
    WriteMinMax(kW2MinMax);
}

void TRKFile::ReadNames(TKennung Kennung)
{
    if (Kennung != kHNames && Kennung != kZNames && Kennung != kW1Names && Kennung != kW2Names)
        return;
    TInfoList &list = *ListOf(Kennung);
    QByteArray payload;
    // A wrapped length field covers only the first entries; the others keep their names.
    const std::int64_t n = ReadListSection(Kennung, cNameEntrySize, payload);
    for (std::int64_t i = 0; i < n; ++i) {
        const char *entry = payload.constData() + i * cNameEntrySize;
        const int len = std::uint8_t(entry[0]);
        const QString text = Trim(FromWin1252(QByteArray(entry + 1, len)));
        TInfoItem &item = *list[std::size_t(i)];
        const qsizetype bar = text.indexOf(QLatin1Char('|'));
        item.Name = bar < 0 ? QString() : text.left(bar);
        item.Unit = bar < 0 ? text : text.mid(bar + 1);
    }
}

void TRKFile::ReadAllNames()
{
    ReadNames(kHNames);
    ReadNames(kZNames);
    ReadNames(kW1Names);
    ReadNames(kW2Names);
}

void TRKFile::WriteNames(TKennung Kennung)
{
    // The suite's files depend on this: only the min/max identifiers are acted on, and the
    // entries land on that min/max section.
    WriteListEntries(Kennung, NameEntry);
}

void TRKFile::WriteHNames()
{
    WriteNames(kHNames);
}
void TRKFile::WriteZNames()
{
    WriteNames(kZNames);
}
void TRKFile::WriteW1Names()
{
    WriteNames(kW1Names);
}
void TRKFile::WriteW2Names()
{
    WriteNames(kW2Names);
}

TInfoItem *TRKFile::GetHInfo(std::int32_t i) const
{
    return ItemOf(HList, i);
}
TInfoItem *TRKFile::GetZInfo(std::int32_t i) const
{
    return ItemOf(ZList, i);
}
TInfoItem *TRKFile::GetW1Info(std::int32_t i) const
{
    return ItemOf(W1List, i);
}
TInfoItem *TRKFile::GetW2Info(std::int32_t i) const
{
    return ItemOf(W2List, i);
}

std::int64_t TRKFile::GetDataSize()
{
    if (FDataSize == 0)
        FDataSize = TCellLayout(Struktur).CellSize;
    return FDataSize;
}

std::int64_t TRKFile::GetDataPos(std::int32_t W1, std::int32_t W2) const
{
    const TCellLayout layout(Struktur);
    if (W2 != 0)
        return layout.W2Pos(W1, W2);
    // Steps over W1 values only, as the suite's programs have always addressed them.
    return layout.W1Start + std::int64_t(W1 - 1) * layout.SizeW1;
}

std::int64_t TRKFile::CellPos(std::int64_t DataStart, std::int64_t Col, std::int64_t Row)
{
    std::int64_t offset = 0;
    if (qMulOverflow((Row - 1) * Struktur.Columns + (Col - 1), GetDataSize(), &offset) ||
        std::abs(offset) > cMaxFilePos || DataStart + offset < 0)
        throw EInOutError::FromErrno(EINVAL, FFileName);
    return DataStart + offset;
}

namespace {

// The part of a requested block that lies on the grid: what is left of count items from
// first (from 1) when only total items exist.
std::int64_t ClippedCount(std::int64_t total, std::int64_t first, std::int64_t count)
{
    return total < first + count ? total - first + 1 : count;
}

} // namespace

void TRKFile::ReadDataBlock(std::int32_t Col, std::int32_t Row, std::int32_t NCols, std::int32_t NRows,
                            void *Data)
{
    if (NCols <= 0 || NRows <= 0)
        return;
    const std::int64_t s = GetDataSize();
    auto *out = static_cast<std::uint8_t *>(Data);
    TrecInfo info;
    SeekKenn(kData, info);
    const std::int64_t d = FPos;
    const std::int64_t rows = ClippedCount(Struktur.Rows, Row, NRows);
    const std::int64_t cols = ClippedCount(Struktur.Columns, Col, NCols);
    const std::int64_t rowBytes = std::int64_t(NCols) * s;
    // Only a clipped block leaves bytes that no read overwrites.
    if (rows < NRows || cols < NCols || rows <= 0 || cols <= 0)
        std::memset(out, 0, std::size_t(rowBytes * NRows));
    if (rows <= 0 || cols <= 0)
        return;
    if (Col == 1 && NCols == Struktur.Columns) {
        SeekTo(CellPos(d, 1, Row));
        ReadCells(out, rows * rowBytes);
        return;
    }
    for (std::int64_t k = 0; k < rows; ++k) {
        SeekTo(CellPos(d, Col, Row + k));
        ReadCells(out + k * rowBytes, cols * s);
    }
}

void TRKFile::WriteDataBlock(std::int32_t Col, std::int32_t Row, std::int32_t NCols, std::int32_t NRows,
                             const void *Data)
{
    WriteDataBlockEx(Col, Row, NCols, NRows, Data, nullptr);
}

void TRKFile::WriteDataBlockEx(std::int32_t Col, std::int32_t Row, std::int32_t NCols, std::int32_t NRows,
                               const void *Data, const bool *Mask)
{
    if (NCols <= 0 || NRows <= 0)
        return;
    const std::int64_t s = GetDataSize();
    const auto *in = static_cast<const std::uint8_t *>(Data);
    TrecInfo info;
    SeekKenn(kData, info);
    const std::int64_t d = FPos;
    const std::int64_t rows = ClippedCount(Struktur.Rows, Row, NRows);
    const std::int64_t cols = ClippedCount(Struktur.Columns, Col, NCols);
    if (rows <= 0 || cols <= 0)
        return;
    const std::int64_t rowBytes = std::int64_t(NCols) * s;
    if (!Mask && Col == 1 && NCols == Struktur.Columns) {
        SeekTo(CellPos(d, 1, Row));
        WriteExact(in, rows * rowBytes);
        return;
    }
    for (std::int64_t k = 0; k < rows; ++k) {
        const std::uint8_t *src = in + k * rowBytes;
        const bool *rowMask = Mask ? Mask + k * NCols : nullptr;
        SeekTo(CellPos(d, Col, Row + k));
        if (!rowMask || std::all_of(rowMask, rowMask + cols, [](bool b) { return b; })) {
            WriteExact(src, cols * s);
            continue;
        }
        std::int64_t pos = FPos;
        for (std::int64_t c = 0; c < cols; ++c, pos += s) {
            if (rowMask[c]) {
                SeekTo(pos);
                WriteExact(src + c * s, s);
            }
        }
    }
}

float TRKFile::GetVal(const void *Data, std::int64_t High, std::int64_t Pos, std::uint8_t WertType,
                      float Offset, float Factor)
{
    const auto *p = static_cast<const std::uint8_t *>(Data);
    const std::int32_t size = WertSizeOf(WertType);
    if (size == 0 || Pos < 0 || Pos + size - 1 > High)
        return 0.0f;
    double stored;
    switch (WertType) {
    case cwtByte:
    // Only the first byte of the 16-bit slot counts: every reader of these files does so.
    case cwtSmallInt: stored = p[Pos]; break;
    default: stored = GetSingle(p + Pos); break;
    }
    return static_cast<float>(stored * Factor + Offset);
}

void PrefixUnit(double &Value, QString &Unit)
{
    int e = 0;
    if (Value > 1e-15) {
        while (Value < 1 && e >= -14) {
            Value *= 1000;
            e -= 3;
        }
    }
    while (Value >= 1000 && e < 12) {
        Value *= 0.001;
        e += 3;
    }
    static const char16_t *const prefixes[] = {u"f", u"p", u"n", u"\u00B5", u"m",
                                               u"",  u"k", u"M", u"G",      u"T"};
    Unit = QString::fromUtf16(prefixes[(e + 15) / 3]) + Unit;
}

// Section headers and payloads of the query go through one cached piece of the file for the
// length of the query (see ReadSome).
class TRKFile::TCacheScope
{
public:
    explicit TCacheScope(TRKFile &file) : FFile(file)
    {
        FFile.FCache.resize(0);
        FFile.FCaching = true;
    }
    ~TCacheScope()
    {
        FFile.FCaching = false;
        FFile.FCache.resize(0);
    }
    TCacheScope(const TCacheScope &) = delete;
    TCacheScope &operator=(const TCacheScope &) = delete;

private:
    TRKFile &FFile;
};

void TRKFile::SnapToNode(bool Section, const void *Direction, double &X, double &Y, double &Z,
                         std::int64_t &Col, std::int64_t &Row) const
{
    const auto &st = Struktur;
    const double dx = st.dx;
    const double dy = st.dy;
    if (!Section) {
        Col = NodeIndex((X - st.XOrigin) / dx, st.Columns);
        Row = NodeIndex((Y - st.YOrigin) / dy, st.Rows);
        X = double(Col - 1) * dx + st.XOrigin;
        Y = double(Row - 1) * dy + st.YOrigin;
        Z = 0.0;
        return;
    }
    // X runs along the section line, Y is a height.
    Col = NodeIndex(X / dx, st.Columns);
    Row = NodeIndex((Y - st.ZOrigin) / dy, st.Rows);
    double dir[2] = {1.0, 0.0};
    if (Direction)
        std::memcpy(dir, Direction, sizeof dir);
    X = double(Col - 1) * dx * dir[0] + st.XOrigin;
    Y = double(Col - 1) * dx * dir[1] + st.YOrigin;
    Z = double(Row - 1) * dy + st.ZOrigin;
}

std::vector<std::uint8_t> TRKFile::QueryCellBuffer()
{
    const std::int64_t s = GetDataSize();
    if (s > FileSize())
        throw EInOutError(QString::fromLatin1(cCellExceedsFileText).arg(s) % QLatin1String(" (") % FFileName %
                              QLatin1Char(')'),
                          cInOutReadBeyondEnd);
    // Every W1 channel lists every W2 channel; a damaged structure could ask for billions.
    const std::int64_t wLines = std::int64_t(W1List.size()) * std::int64_t(W2List.size() + 1);
    if (wLines > cMaxQueryLines)
        throw EInOutError(QString::fromLatin1(cDamagedStructureText).arg(W1List.size()).arg(W2List.size()) %
                              QLatin1String(" (") % FFileName % QLatin1Char(')'),
                          EINVAL);
    return std::vector<std::uint8_t>(std::size_t(s), 0);
}

void TRKFile::AddHLines(const std::vector<std::uint8_t> &Cell, TTaggedLines &List) const
{
    const TCellLayout layout(Struktur);
    const std::int64_t high = std::int64_t(Cell.size()) - 1;
    for (std::size_t k = 1; k <= HList.size(); ++k) {
        const TInfoItem &h = *HList[k - 1];
        if (h.Name.isEmpty())
            continue;
        const float v =
            GetVal(Cell.data(), high, layout.HPos(std::int64_t(k)), Struktur.TypeH, h.Offset, h.Factor);
        List.append({h.Name % QLatin1String(" [") % h.Unit % QLatin1String("] \t") % ValueText(v),
                     std::int32_t(std::uint32_t(k) << 16)});
    }
    if (!HList.empty())
        List.append({QStringLiteral("-"), 0});
}

void TRKFile::AddWLines(const std::vector<std::uint8_t> &Cell, TTaggedLines &List) const
{
    const TCellLayout layout(Struktur);
    const std::int64_t high = std::int64_t(Cell.size()) - 1;
    // Each line starts again from the W1 item's own unit, so that prefixes never pile up; W2
    // values take the scaling of their W1 channel.
    const auto scaled = [&](std::int64_t pos, std::uint8_t type, const TInfoItem &w1, QString &unit) {
        double v = GetVal(Cell.data(), high, pos, type, w1.Offset, w1.Factor);
        unit = w1.Unit;
        PrefixUnit(v, unit);
        return ValueText(v);
    };
    QString unit;
    for (std::size_t i = 1; i <= W1List.size(); ++i) {
        const TInfoItem &w1 = *W1List[i - 1];
        if (Struktur.TypeW1 != cwtNone) {
            const QString value = scaled(layout.W1Pos(std::int64_t(i)), Struktur.TypeW1, w1, unit);
            if (!w1.Name.isEmpty())
                List.append({w1.Name % QLatin1String(" [") % unit % QLatin1String("] \t") % value,
                             std::int32_t(i << 8)});
        }
        for (std::size_t j = 1; j <= W2List.size(); ++j) {
            const QString value =
                scaled(layout.W2Pos(std::int64_t(i), std::int64_t(j)), Struktur.TypeW2, w1, unit);
            List.append({w1.Name % QLatin1Char('-') % W2List[j - 1]->Name % QLatin1String(" [") % unit %
                             QLatin1String("] \t") % value,
                         std::int32_t((i << 8) + j)});
        }
    }
}

void TRKFile::GetValuesOfPt(bool Section, const void *Direction, double &X, double &Y, double &Z,
                            TTaggedLines &List)
{
    List.clear();
    const TOpenForCall openForCall(*this);
    const TCacheScope cacheScope(*this);
    ReadGridStructure();
    ReadAllNames();
    ReadAllMinMax();
    std::vector<std::uint8_t> cell = QueryCellBuffer();
    std::int64_t c, r;
    SnapToNode(Section, Direction, X, Y, Z, c, r);
    ReadDataBlock(std::int32_t(c), std::int32_t(r), 1, 1, cell.data());
    AddHLines(cell, List);
    AddWLines(cell, List);
}

void TRKFile::GetKoordMinMax(double &XMin, double &YMin, double &XMax, double &YMax)
{
    {
        const TOpenForCall openForCall(*this);
        ReadGridStructure();
    }
    XMin = Struktur.XOrigin - Struktur.dx;
    YMin = Struktur.YOrigin - Struktur.dy;
    XMax = double(Struktur.Columns) * Struktur.dx + XMin;
    YMax = double(Struktur.Rows) * Struktur.dy + YMin;
}

std::int32_t GetSelTag(std::uint8_t H, std::uint8_t W1, std::uint8_t W2)
{
    return std::int32_t(H) * 65536 + std::int32_t(W1) * 256 + W2;
}

void GetSelected(std::int32_t Tag, std::int32_t &H, std::int32_t &W1, std::int32_t &W2)
{
    const auto bits = std::uint32_t(Tag);
    H = std::int32_t(bits >> 16);
    W1 = std::int32_t((bits >> 8) % 65536);
    W2 = Tag % 256;
}

} // namespace wn
