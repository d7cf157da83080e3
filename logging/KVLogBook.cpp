#include "logging/KVLogBook.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"
#include "framework/UiServices.h"

#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPrinter>
#include <QSaveFile>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wn {

namespace {

const QString kFieldMark = QStringLiteral("$\\");
const QString kBreakMark = QStringLiteral("$\\N");
const QString kCrLf = QStringLiteral("\r\n");

// Bytes handed to the file at a time while saving, and read at a time while loading.
constexpr qsizetype kWriteChunk = 1 << 20;
constexpr qsizetype kReadChunk = 1 << 18;

QString KindCode(TLogStatus art)
{
    switch (art) {
    case clog_abbruch: return QStringLiteral("\\A");
    case clog_warning: return QStringLiteral("\\W");
    case clog_userbreak: return QStringLiteral("\\U");
    case clog_except:
    case clog_exProtok: return QStringLiteral("\\E");
    case clog_Hint: return QStringLiteral("\\H");
    case clog_Error: return QStringLiteral("\\F");
    default: return QStringLiteral("\\P");
    }
}

TLogStatus KindOfCode(QChar code)
{
    switch (code.unicode()) {
    case 'A': return clog_abbruch;
    case 'W': return clog_warning;
    case 'U': return clog_userbreak;
    case 'E': return clog_except;
    case 'H': return clog_Hint;
    case 'F': return clog_Error;
    default: return clog_protok;
    }
}

bool HasBreak(const QString &text)
{
    return text.contains(QLatin1Char('\n')) || text.contains(QLatin1Char('\r'));
}

// Every line break (CR LF, a lone LF, a lone CR) replaced by with.
QString ReplaceBreaks(const QString &text, const QString &with)
{
    if (!HasBreak(text))
        return text;
    QString out = text;
    out.replace(kCrLf, QStringLiteral("\n"));
    out.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    if (with != QLatin1String("\n"))
        out.replace(QLatin1Char('\n'), with);
    return out;
}

std::int32_t LineCount(const QString &text)
{
    if (!HasBreak(text))
        return 1;
    return std::int32_t(ReplaceBreaks(text, QStringLiteral("\n")).count(QLatin1Char('\n'))) + 1;
}

// A coordinate as written with the decimal separator of its writer, which may not be ours.
double ReadCoordinate(const QString &text)
{
    double value = 0;
    if (TryStrToFloat(text, value))
        return value;
    static const TFormatSettings point = [] {
        TFormatSettings fs;
        fs.DecimalSeparator = QLatin1Char('.');
        return fs;
    }();
    static const TFormatSettings comma = [] {
        TFormatSettings fs;
        fs.DecimalSeparator = QLatin1Char(',');
        return fs;
    }();
    if (TryStrToFloat(text, value, point) || TryStrToFloat(text, value, comma))
        return value;
    // What Format writes for values that are no numbers.
    const QString t = text.trimmed();
    if (t == QLatin1String("NAN"))
        return std::numeric_limits<double>::quiet_NaN();
    if (t == QLatin1String("INF") || t == QLatin1String("-INF"))
        return t.startsWith(QLatin1Char('-')) ? -HUGE_VAL : HUGE_VAL;
    return StrToFloat(text);
}

[[noreturn]] void ThrowNotAFile(const QString &fileName, bool isDir)
{
    if (isDir)
        throw EInOutError::FromErrno(EISDIR, fileName);
    throw EInOutError(SLogNotAFile.arg(fileName), EINVAL);
}

[[noreturn]] void ThrowFileError(const QFileDevice &file, const QString &fileName)
{
    throw EInOutError(QStringLiteral("%1 (%2)").arg(file.errorString(), fileName), errno ? errno : EIO);
}

// Reads a file line by line (CR LF or LF) through one buffer, so that a file with an endless
// line costs no more than LogBookMaxLineBytes before it is refused.
class TLineReader
{
public:
    TLineReader(QFile &file, const QString &fileName) : FFile(file), FFileName(fileName) {}

    // The next line without its line end, valid until the next call; false at the end.
    bool Next(QByteArrayView &line)
    {
        for (;;) {
            const char *begin = FBuffer.constData() + FPos;
            const qsizetype avail = FBuffer.size() - FPos;
            const void *lf = avail > 0 ? std::memchr(begin, '\n', std::size_t(avail)) : nullptr;
            const qsizetype length = lf ? static_cast<const char *>(lf) - begin : avail;
            if (length > LogBookMaxLineBytes)
                throw EInOutError(SLogLineTooLong.arg(FLineNo + 1).arg(FFileName).arg(LogBookMaxLineBytes),
                                  EFBIG);
            if (lf || (FEnd && avail > 0)) {
                const bool cr = length > 0 && begin[length - 1] == '\r';
                line = QByteArrayView(begin, length - (cr ? 1 : 0));
                FPos += lf ? length + 1 : length;
                ++FLineNo;
                return true;
            }
            if (FEnd)
                return false;
            FBuffer.remove(0, FPos);
            FPos = 0;
            const qsizetype kept = FBuffer.size();
            // A small file gets a buffer of its own size (plus one byte to see its end).
            const qsizetype chunk =
                qsizetype(qBound<qint64>(4096, FFile.size() - FFile.pos() + 1, kReadChunk));
            FBuffer.resize(kept + chunk);
            ClearOsError();
            const qint64 got = FFile.read(FBuffer.data() + kept, chunk);
            if (got < 0)
                ThrowFileError(FFile, FFileName);
            FBuffer.resize(kept + got);
            FEnd = got == 0;
        }
    }

    // Back to the start of the file, past a UTF-8 byte-order mark when skipBom.
    void Restart(bool skipBom)
    {
        if (!FFile.seek(0))
            ThrowFileError(FFile, FFileName);
        FBuffer.clear();
        FPos = 0;
        FEnd = false;
        FLineNo = 0;
        if (!skipBom)
            return;
        FBuffer = FFile.read(3);
        if (FBuffer.startsWith("\xEF\xBB\xBF"))
            FPos = 3;
    }

    bool StartsWithBom()
    {
        Restart(false);
        return FFile.peek(3) == QByteArray("\xEF\xBB\xBF", 3);
    }

private:
    QFile &FFile;
    QString FFileName;
    QByteArray FBuffer;
    qsizetype FPos = 0;
    bool FEnd = false;
    std::int64_t FLineNo = 0;
};

// Opened without blocking and checked on the open handle, so that a FIFO put in the file's
// place can neither hang the reader nor be taken for a log book.
void OpenRegularFile(QFile &file, const QString &fileName)
{
    const int fd = ::open(QFile::encodeName(fileName).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        throw EInOutError::FromErrno(errno, fileName);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        const bool isDir = S_ISDIR(st.st_mode);
        ::close(fd);
        ThrowNotAFile(fileName, isDir);
    }
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        ThrowFileError(file, fileName);
    }
}

// Renames without ever replacing a file that has the new name.
bool RenameNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // A file system without the no-replace rename: a hard link fails as well on a taken name.
    if (::link(source.constData(), target.constData()) != 0)
        return false;
    ::unlink(source.constData());
    return true;
}

bool NameTaken(const QString &fileName)
{
    const QFileInfo info(fileName);
    return info.exists() || info.isSymLink();
}

// Lays the log book out on printer pages: the title at the top of every page, "Page" and its
// number at the bottom, the lines in between; a message stays whole on one page where it fits.
class TLogPrinter
{
public:
    TLogPrinter(QPagedPaintDevice &printer, QPainter &painter, const QFont &font, const QString &title)
        : FPrinter(printer), FPainter(painter), FBody(font, &printer), FTitle(title)
    {
        if (FBody.pointSizeF() <= 0)
            FBody.setPointSizeF(9);
        FBody.setBold(false);
        FBold = FBody;
        FBold.setBold(true);
        FHeading = FBold;
        FHeading.setPointSizeF(FBody.pointSizeF() * 1.4);
        const double mm = printer.logicalDpiY() / 25.4;
        FGap = int(2 * mm);
        const int margin = int(10 * mm);
        const QRect page =
            QRect(0, 0, printer.width(), printer.height()).adjusted(margin, margin, -margin, -margin);
        FLeft = page.left();
        FWidth = page.width();
        FTitleRect = QRect(page.left(), page.top(), page.width(), QFontMetrics(FHeading, &printer).height());
        const int footer = QFontMetrics(FBody, &printer).height();
        FFooterRect = QRect(page.left(), page.bottom() - footer, page.width(), footer);
        FTop = FTitleRect.bottom() + 2 * FGap;
        FBottom = FFooterRect.top() - FGap;
        StartPage();
    }

    void Put(const TLineLook &look)
    {
        const QString text = ReplaceBreaks(look.Text, QStringLiteral("\n"));
        const QFont &font = look.Bold ? FBold : FBody;
        const int height = Height(font, text);
        if (height > FBottom - FTop && text.contains(QLatin1Char('\n'))) {
            // Taller than a page: its lines go on as they fit.
            for (const QString &part : text.split(QLatin1Char('\n')))
                Place(font, look.Color, part, Height(font, part));
            return;
        }
        Place(font, look.Color, text, height);
    }

private:
    static constexpr int kFlags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap | Qt::TextExpandTabs;

    int Height(const QFont &font, const QString &text) const
    {
        const QFontMetrics fm(font, &FPrinter);
        return std::max(fm.boundingRect(QRect(0, 0, FWidth, 1 << 24), kFlags, text).height(), fm.height());
    }

    void Place(const QFont &font, TColor color, const QString &text, int height)
    {
        if (FY + height > FBottom && FY > FTop) {
            FPrinter.newPage();
            ++FPage;
            StartPage();
        }
        FPainter.setFont(font);
        FPainter.setPen(ColorToQColor(color));
        FPainter.drawText(QRect(FLeft, FY, FWidth, height), kFlags, text);
        FY += height;
    }

    void StartPage()
    {
        FPainter.setPen(Qt::black);
        FPainter.setFont(FHeading);
        FPainter.drawText(FTitleRect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, FTitle);
        FPainter.drawLine(FTitleRect.left(), FTitleRect.bottom() + FGap, FTitleRect.right(),
                          FTitleRect.bottom() + FGap);
        FPainter.setFont(FBody);
        FPainter.drawText(FFooterRect, Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine,
                          SLogPage + QLatin1Char(' ') + QString::number(FPage));
        FY = FTop;
    }

    QPagedPaintDevice &FPrinter;
    QPainter &FPainter;
    QFont FBody;
    QFont FBold;
    QFont FHeading;
    QString FTitle;
    QRect FTitleRect;
    QRect FFooterRect;
    int FGap = 0;
    int FLeft = 0;
    int FWidth = 0;
    int FTop = 0;
    int FBottom = 0;
    int FY = 0;
    int FPage = 1;
};

} // namespace

// ---------------------------------------------------------------------------------------------
// TLineInfo

QString TLineInfo::InfoToStr() const
{
    QString s = KindCode(Art);
    s += QLatin1Char(' ');
    s += ReplaceBreaks(Text, kBreakMark);
    if (HelpContext > 0)
        s += QStringLiteral("$\\H") + QString::number(HelpContext);
    if (ObjKey > 0)
        s += QStringLiteral("$\\O") + QString::number(ObjKey);
    if (ErrObj && ErrObj->ObjNr >= 0)
        s += QStringLiteral("$\\E") + Format(QStringLiteral("%d\t%d\t%.3f\t%.3f\t"),
                                             {ErrObj->ObjNr, int(ErrObj->SubKind), ErrObj->X, ErrObj->Y});
    return s;
}

void TLineInfo::StrToInfo(const QString &S)
{
    ErrObj.reset();
    HelpContext = 0;
    ObjKey = 0;
    Art = S.size() >= 2 ? KindOfCode(S[1]) : clog_protok;
    QString text = S.mid(3);
    if (text.contains(kBreakMark))
        text.replace(kBreakMark, kCrLf);
    const qsizetype fields = text.indexOf(kFieldMark);
    if (fields >= 0) {
        const QString chain = text.mid(fields);
        text.truncate(fields);
        qsizetype pos = 0;
        while (pos + 2 < chain.size()) {
            const QChar marker = chain[pos + 2];
            const qsizetype next = chain.indexOf(kFieldMark, pos + 3);
            const QString value = chain.mid(pos + 3, next < 0 ? -1 : next - pos - 3);
            if (marker == QLatin1Char('H')) {
                HelpContext = StrToInt(value);
            } else if (marker == QLatin1Char('O')) {
                ObjKey = StrToInt(value);
            } else if (marker == QLatin1Char('E')) {
                const QStringList parts = value.split(QLatin1Char('\t'));
                const auto part = [&parts](qsizetype i) { return i < parts.size() ? parts[i] : QString(); };
                ErrObj = std::make_unique<TErrorHandler>(0, 0);
                ErrObj->ObjNr = StrToInt(part(0));
                ErrObj->SubKind = std::uint8_t(StrToInt(part(1)));
                ErrObj->X = ReadCoordinate(part(2));
                ErrObj->Y = ReadCoordinate(part(3));
            } else {
                break;
            }
            if (next < 0)
                break;
            pos = next;
        }
    }
    Text = text;
}

// ---------------------------------------------------------------------------------------------
// TLines

TLineInfo &TLines::Add(const QString &Text, TLogStatus Art, std::int32_t HelpContext, std::int32_t ObjKey)
{
    TLineInfo &line = FItems.emplace_back();
    line.Text = Text;
    line.Art = Art;
    line.HelpContext = HelpContext;
    line.ObjKey = ObjKey;
    return line;
}

TLineInfo &TLines::Add(const QString &S)
{
    TLineInfo &line = FItems.emplace_back();
    try {
        line.StrToInfo(S);
    } catch (...) {
        FItems.pop_back();
        throw;
    }
    return line;
}

void TLines::LoadFromFile(const QString &FileName, TTextEncoding &Encoding)
{
    QFile file;
    OpenRegularFile(file, FileName);
    TLineReader reader(file, FileName);
    // The whole file decides the encoding, and every line is checked for its length before the
    // first one is taken.
    const bool bom = reader.StartsWithBom();
    bool utf8 = true;
    reader.Restart(bom);
    QByteArrayView line;
    while (reader.Next(line))
        utf8 = utf8 && line.isValidUtf8();
    Encoding = !utf8 ? TTextEncoding::Windows1252 : bom ? TTextEncoding::Utf8Bom : TTextEncoding::Utf8;
    reader.Restart(utf8 && bom);
    while (reader.Next(line))
        Add(utf8 ? QString::fromUtf8(line) : FromWin1252(QByteArray::fromRawData(line.data(), line.size())));
}

void TLines::SaveToFile(const QString &FileName, TTextEncoding Encoding, bool Plain) const
{
    QSaveFile file(FileName);
    ClearOsError();
    if (!file.open(QIODevice::WriteOnly) || !SaveToStream(file, Encoding, Plain) || !file.commit())
        ThrowFileError(file, FileName);
}

bool TLines::SaveToStream(QIODevice &Stream, TTextEncoding Encoding, bool Plain) const
{
    QByteArray buffer;
    if (Encoding == TTextEncoding::Utf8Bom)
        buffer = QByteArray("\xEF\xBB\xBF", 3);
    const TTextEncoding lineEncoding = Encoding == TTextEncoding::Utf8Bom ? TTextEncoding::Utf8 : Encoding;
    for (const TLineInfo &line : FItems) {
        QString s = Plain ? ReplaceBreaks(line.Text, kCrLf) : line.InfoToStr();
        s += kCrLf;
        buffer += EncodeText(s, lineEncoding);
        if (buffer.size() >= kWriteChunk) {
            if (Stream.write(buffer) != buffer.size())
                return false;
            buffer.clear();
        }
    }
    return Stream.write(buffer) == buffer.size();
}

TLineLook LineLook(const TLineInfo &Line)
{
    const QString blank = QStringLiteral(" ");
    switch (Line.Art) {
    case clog_abbruch: return {clRed, true, Line.Text};
    case clog_warning: return {clRed, false, SLogWarning + blank + Line.Text};
    case clog_userbreak: return {clBlue, true, SLogUserBreak};
    case clog_except:
    case clog_exProtok: return {clFuchsia, false, Line.Text};
    case clog_Hint: return {clBlue, false, SLogHint + blank + Line.Text};
    case clog_Error: return {clRed, true, SLogError + QStringLiteral(": ") + Line.Text};
    default: return {clBlack, false, Line.Text};
    }
}

// ---------------------------------------------------------------------------------------------
// TKVLogBook

TKVLogBook::TKVLogBook(QWidget *parent) : TCustomGrid(parent)
{
    SetFixedCols(0);
    SetFixedRows(0);
    SetColCount(1);
    SetRowCount(1);
    SetDefaultColWidth(200);
    SetDefaultRowHeight(12);
    SetOptions(TGridOptions{goFixedVertLine, goFixedHorzLine, goRangeSelect, goDrawFocusSelected, goRowSizing,
                            goColSizing, goRowSelect});
}

TKVLogBook::~TKVLogBook() = default;

std::int32_t TKVLogBook::TextRowHeight(const QString &Text) const
{
    return LineCount(Text) * FLineHeight;
}

// Rows are as high as their text: one text line is the default row height, so only the rows of
// multi-line messages keep a size of their own.
void TKVLogBook::MeasureFont()
{
    const std::int32_t height = std::max(fontMetrics().height(), 1);
    if (height == FLineHeight)
        return;
    FLineHeight = height;
    SetDefaultRowHeight(height);
    FitRowHeights();
}

void TKVLogBook::FitRowHeights()
{
    for (std::int32_t i = 0; i < FLines.Count() && i < RowCount(); ++i)
        if (HasBreak(FLines[i].Text))
            SetRowHeights(i, TextRowHeight(FLines[i].Text));
}

void TKVLogBook::ScrollToLast()
{
    // The grid stops scrolling where the last row ends at the bottom of the view.
    SetTopRow(RowCount() - 1);
}

void TKVLogBook::ShowLines()
{
    SetRowCount(FLines.Count() + 1);
    if (FLineHeight == 0)
        MeasureFont();
    else
        FitRowHeights();
    SetRow(std::max(FLines.Count() - 1, 0));
    ScrollToLast();
}

void TKVLogBook::AddLine(const QString &Text, TLogStatus Art, std::int32_t HelpContext, std::int32_t ObjKey)
{
    MeasureFont();
    FLines.Add(Text, Art, HelpContext, ObjKey);
    const std::int32_t row = FLines.Count() - 1;
    SetRowCount(row + 2);
    if (HasBreak(Text))
        SetRowHeights(row, TextRowHeight(Text));
    SetRow(row);
    ScrollToLast();
}

void TKVLogBook::GetLineInfo(std::int32_t Row, QString &Text, TLogStatus &Art, std::int32_t &HelpContext,
                             std::int32_t &ObjKey) const
{
    if (Row < 0 || Row >= FLines.Count()) {
        Text.clear();
        Art = clog_protok;
        HelpContext = 0;
        ObjKey = 0;
        return;
    }
    const TLineInfo &line = FLines[Row];
    Text = line.Text;
    Art = line.Art;
    HelpContext = line.HelpContext;
    ObjKey = line.ObjKey;
}

void TKVLogBook::Clear()
{
    FLines.Clear();
    SetRowCount(1);
    SetRow(0);
    InvalidateGrid();
}

void TKVLogBook::GoDown()
{
    FGoDown = true;
    InvalidateGrid();
}

TTextEncoding TKVLogBook::EncodingFor(const QString &FileName) const
{
    return QFileInfo(FileName).absoluteFilePath() == FLoadedFile ? FEncoding : TTextEncoding::Utf8;
}

void TKVLogBook::SaveToFile(const QString &FileName)
{
    FLines.SaveToFile(FileName, EncodingFor(FileName));
}

void TKVLogBook::SaveLogBookWithoutReplacement(const QString &FileName)
{
    FLines.SaveToFile(FileName, EncodingFor(FileName), true);
}

void TKVLogBook::LoadFromFile(const QString &FileName, std::int32_t MaxSizeKB)
{
    Clear();
    const QFileInfo info(FileName);
    FLoadedFile = info.absoluteFilePath();
    FEncoding = TTextEncoding::Utf8;
    if (!info.exists())
        return;
    if (!info.isFile())
        ThrowNotAFile(FileName, info.isDir());
    if (info.size() > std::int64_t(MaxSizeKB) * 1024) {
        MoveAside(FileName, MaxSizeKB);
        return;
    }
    try {
        FLines.LoadFromFile(FileName, FEncoding);
    } catch (...) {
        ShowLines();
        throw;
    }
    ShowLines();
}

void TKVLogBook::MoveAside(const QString &FileName, std::int32_t MaxSizeKB)
{
    const QString folder = QFileInfo(FileName).absolutePath() + QLatin1Char('/');
    const auto name = [&folder](int n) {
        return folder + SLogSaveAwayPrefix + QString::number(n) + SLogSaveAwaySuffix;
    };
    int n = 0;
    while (n < 999 && NameTaken(name(n)))
        ++n;
    const QString target = name(n);
    if (!RenameNoReplace(FileName, target))
        return;
    const QString text = MyFormat(SLogFileMovedAside, {MaxSizeKB, target});
    if (KV_ELOG)
        KV_ELOG(text, clog_protok, 0, 0, nullptr);
}

void TKVLogBook::CopyToClipBoard(std::int32_t FromRow, std::int32_t ToRow)
{
    const QString blank = QStringLiteral(" ");
    QString text;
    for (std::int32_t i = std::max(FromRow, 0); i <= std::min(ToRow, FLines.Count() - 1); ++i) {
        const TLineInfo &line = FLines[i];
        switch (line.Art) {
        case clog_abbruch: text += SLogCancelled + blank; break;
        case clog_warning: text += SLogWarning + blank; break;
        case clog_userbreak: text += SLogUserBreak + blank; break;
        case clog_except:
        case clog_exProtok: text += SLogException + blank; break;
        case clog_Hint: text += SLogHint + blank; break;
        case clog_Error: text += SLogError + QStringLiteral(": "); break;
        default: break;
        }
        text += line.Text;
        text += kCrLf;
    }
    if (!text.isEmpty())
        UiServices().SetClipboardText(text);
}

void PrintLines(const TLines &Lines, QPagedPaintDevice &Device, const QFont &Font, const QString &Title)
{
    QPainter painter;
    if (!painter.begin(&Device))
        throw EInOutError(SLogPrintFailed, EIO);
    TLogPrinter pages(Device, painter, Font, Title);
    for (std::int32_t i = 0; i < Lines.Count(); ++i)
        pages.Put(LineLook(Lines[i]));
    painter.end();
}

void TKVLogBook::Print(const QString &Title)
{
    QPrinter &printer = UiServices().Printer();
    printer.setDocName(Title);
    PrintLines(FLines, printer, font(), Title);
}

void TKVLogBook::DrawCell(QPainter &Canvas, std::int32_t, std::int32_t ARow, const QRect &ARect,
                          TGridDrawState)
{
    const TGridRect selection = Selection();
    const bool selected = ARow >= selection.Top && ARow <= selection.Bottom;
    Canvas.fillRect(ARect, selected ? QColor(128, 128, 128) : QColor(Qt::white));
    if (ARow >= FLines.Count())
        return;
    const TLineInfo &line = FLines[ARow];
    // A row sized by hand gets its text's height back; the repaint this asks for shows it.
    const std::int32_t height = TextRowHeight(line.Text);
    if (height != RowHeights(ARow))
        SetRowHeights(ARow, height);
    const TLineLook look = LineLook(line);
    QFont f = font();
    f.setBold(look.Bold);
    Canvas.setFont(f);
    Canvas.setPen(ColorToQColor(look.Color));
    Canvas.setClipRect(ARect, Qt::IntersectClip);
    const QRect text = ARect.adjusted(3, 0, 0, 0);
    int y = text.top();
    for (const QString &part : ReplaceBreaks(look.Text, QStringLiteral("\n")).split(QLatin1Char('\n'))) {
        Canvas.drawText(QRect(text.left(), y, text.width(), FLineHeight),
                        Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine | Qt::TextExpandTabs, part);
        y += FLineHeight;
    }
}

bool TKVLogBook::SelectCell(std::int32_t ACol, std::int32_t ARow)
{
    bool canSelect = true;
    if (OnSelectCell)
        OnSelectCell(this, ACol, ARow, canSelect);
    return canSelect;
}

void TKVLogBook::KeyDown(std::uint16_t &Key, TShiftState Shift)
{
    TCustomGrid::KeyDown(Key, Shift);
    if (Key == 'C' && Shift.contains(ssCtrl)) {
        const TGridRect selection = Selection();
        CopyToClipBoard(selection.Top, selection.Bottom);
    } else if (Key == VK_F1 && Row() < FLines.Count() && FLines[Row()].HelpContext >= 1) {
        UiServices().ShowHelp(FLines[Row()].HelpContext);
    }
}

// Work the paint brings along is done before the cells are drawn, so that they are drawn once in
// their new place: the font's line height, a parent grown wider than the column, and GoDown.
void TKVLogBook::paintEvent(QPaintEvent *event)
{
    MeasureFont();
    if (const QWidget *parent = parentWidget()) {
        const int width = parent->contentsRect().width();
        if (width > DefaultColWidth())
            SetDefaultColWidth(width);
    }
    if (FGoDown) {
        FGoDown = false;
        ScrollToLast();
        SetRow(std::max(FLines.Count() - 1, 0));
    }
    TCustomGrid::paintEvent(event);
}

void TKVLogBook::changeEvent(QEvent *event)
{
    TCustomGrid::changeEvent(event);
    if (event->type() == QEvent::FontChange && FLineHeight != 0)
        MeasureFont();
}

} // namespace wn
