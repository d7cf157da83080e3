#pragma once
// The log book: a one-column grid that shows the log events of a calculation, one line per row,
// coloured by kind, with rows as high as their (possibly multi-line) messages. It saves itself to
// a text file that other programs of the suite read, loads such files back (moving oversized
// ones aside), prints, and copies selected lines to the clipboard.
//
// File form of a line (TLineInfo::InfoToStr): a two-character kind code ("\A" abort, "\W"
// warning, "\U" user break, "\E" exception, "\H" hint, "\F" error, "\P" anything else), a
// blank, the text with line breaks written as "$\N", then "$\H" help context, "$\O" object key
// and "$\E" error location fields where present. Files are written with CR LF through
// QSaveFile; they are read as UTF-8 when valid and as Windows-1252 otherwise, and a log book
// saved back to the file it loaded keeps that encoding.

#include "framework/CodePages.h"
#include "framework/CustomGrid.h"
#include "logging/LogEvent.h"
#include "wn_export.h"

#include <QString>

class QFont;
class QIODevice;
class QPagedPaintDevice;

#include <cstdint>
#include <deque>
#include <memory>

namespace wn {

// The log book's texts.
inline const QString SLogWarning = QStringLiteral("Warning:");
inline const QString SLogHint = QStringLiteral("Hint:");
inline const QString SLogError = QStringLiteral("Error");
inline const QString SLogCancelled = QStringLiteral("Cancelled:");
inline const QString SLogException = QStringLiteral("Exception:");
inline const QString SLogUserBreak = QStringLiteral("Calculation canceled by user");
inline const QString SLogPage = QStringLiteral("Page");
inline const QString SLogFileMovedAside =
    QStringLiteral("File size of Logbook file is bigger than %d kB: File has been saved to \"%s\"");
// Names of the files an oversized log book is moved to: "LogBk" + number + ".log".
inline const QString SLogSaveAwayPrefix = QStringLiteral("LogBk");
inline const QString SLogSaveAwaySuffix = QStringLiteral(".log");
inline const QString SLogLineTooLong = QStringLiteral("Line %1 of \"%2\" is longer than %3 bytes");
inline const QString SLogNotAFile = QStringLiteral("\"%1\" is not a regular file");
inline const QString SLogPrintFailed = QStringLiteral("The printer could not be started");

// A log-book file line longer than this is refused as not being a log book.
constexpr std::int32_t LogBookMaxLineBytes = 1 << 20;

// One line of the log book.
class WN_EXPORT TLineInfo : public TObject
{
public:
    QString Text; // may hold line breaks
    TLogStatus Art = clog_protok;
    std::int32_t HelpContext = 0; // 0: none
    std::int32_t ObjKey = 0;      // 0: none
    std::unique_ptr<TErrorHandler> ErrObj;

    // The line's file form (without line end).
    QString InfoToStr() const;
    // Fills the line from its file form; every field not in S becomes empty or zero. A malformed
    // number after "$\H", "$\O" or in the "$\E" fields raises EConvertError. Coordinates are read
    // with the decimal separator of FormatSettings() or a point or a comma.
    void StrToInfo(const QString &S);
};

// The lines of a log book, owned.
class WN_EXPORT TLines
{
public:
    TLineInfo &Add(const QString &Text, TLogStatus Art, std::int32_t HelpContext, std::int32_t ObjKey);
    // A line read from its file form; when S cannot be read nothing is added and EConvertError
    // comes back.
    TLineInfo &Add(const QString &S);
    std::int32_t Count() const { return std::int32_t(FItems.size()); }
    // A line stays where it is while lines are added.
    TLineInfo &operator[](std::int32_t Index) { return FItems[std::size_t(Index)]; }
    const TLineInfo &operator[](std::int32_t Index) const { return FItems[std::size_t(Index)]; }
    void Clear() { FItems.clear(); }

    // Appends the lines of a log-book file (CR LF or LF line ends) and tells how it was encoded.
    // EInOutError when the file cannot be read, is no regular file or has a line longer than
    // LogBookMaxLineBytes (then nothing is added); EConvertError for a malformed line (the lines
    // before it stay).
    void LoadFromFile(const QString &FileName, TTextEncoding &Encoding);
    // Writes every line's file form, or with Plain only its text (a multi-line text becomes
    // several lines), each line ended by CR LF, replacing the file. EInOutError on failure; the
    // old file then stays as it was.
    void SaveToFile(const QString &FileName, TTextEncoding Encoding, bool Plain = false) const;
    // The same bytes to a device that is open for writing; false when a write fails.
    bool SaveToStream(QIODevice &Stream, TTextEncoding Encoding, bool Plain = false) const;

private:
    // Held by value: a log book of a million lines then costs one allocation per line, its text.
    std::deque<TLineInfo> FItems;
};

// How a line is shown on screen and in print: colour, weight and the text with its prefix.
struct TLineLook {
    TColor Color = clBlack;
    bool Bold = false;
    QString Text;
};
WN_EXPORT TLineLook LineLook(const TLineInfo &Line);

// Prints the lines as the log book shows them, in Font, on numbered pages of Device under Title.
// EInOutError when the device cannot be painted on.
WN_EXPORT void PrintLines(const TLines &Lines, QPagedPaintDevice &Device, const QFont &Font,
                          const QString &Title);

// The log book grid. It always has one row more than there are lines; row r shows line r.
class WN_EXPORT TKVLogBook : public TCustomGrid
{
    Q_OBJECT

public:
    // One column 200 wide, rows 12 high until the font is measured, no fixed cells, one row,
    // whole-row range selection with sizable rows and columns.
    explicit TKVLogBook(QWidget *parent = nullptr);
    ~TKVLogBook() override;

    // Appends a line, selects it and scrolls so that the last row shows.
    void AddLine(const QString &Text, TLogStatus Art, std::int32_t HelpContext, std::int32_t ObjKey);
    // The line in Row; empty text and zeros for a row without a line.
    void GetLineInfo(std::int32_t Row, QString &Text, TLogStatus &Art, std::int32_t &HelpContext,
                     std::int32_t &ObjKey) const;
    void Clear();
    // The next paint scrolls to the last line and selects it.
    void GoDown();
    // Writes the file form of every line, replacing the file (EInOutError on failure).
    void SaveToFile(const QString &FileName);
    // Writes only the texts, as plain text for people.
    void SaveLogBookWithoutReplacement(const QString &FileName);
    // Clears, then loads the file. A missing file leaves the log book empty. A file bigger than
    // MaxSizeKB * 1024 bytes is not loaded but renamed to the first free "LogBk<n>.log" (n = 0 ..
    // 999) in its folder, never overwriting a file, and the move is reported as a clog_protok
    // event through KV_ELOG. EInOutError for a folder, a FIFO or an unreadable file;
    // EConvertError for a malformed line, with the lines before it loaded.
    void LoadFromFile(const QString &FileName, std::int32_t MaxSizeKB);
    // Puts the lines of the rows FromRow .. ToRow (clamped to the lines) on the clipboard, each
    // with its kind's prefix and CR LF; nothing when that is empty.
    void CopyToClipBoard(std::int32_t FromRow, std::int32_t ToRow);
    // Prints every line as shown on screen to UiServices().Printer(), under Title, with numbered
    // pages. EInOutError when the printer cannot be started.
    void Print(const QString &Title);

    TLines &Lines() { return FLines; }
    const TLines &Lines() const { return FLines; }
    // The encoding SaveToFile keeps for the file last loaded; other files are written as UTF-8.
    TTextEncoding Encoding() const { return FEncoding; }

    // Told of every cell the user or the log book selects; may refuse it.
    TSelectCellEvent OnSelectCell;

protected:
    void DrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &ARect,
                  TGridDrawState AState) override;
    bool SelectCell(std::int32_t ACol, std::int32_t ARow) override;
    // After the grid's own keys: Ctrl+C copies the selected rows, F1 opens the help topic of the
    // current line.
    void KeyDown(std::uint16_t &Key, TShiftState Shift) override;
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    std::int32_t TextRowHeight(const QString &Text) const;
    void MeasureFont();
    void FitRowHeights();
    void ShowLines();
    void ScrollToLast();
    void MoveAside(const QString &FileName, std::int32_t MaxSizeKB);
    TTextEncoding EncodingFor(const QString &FileName) const;

    TLines FLines;
    bool FGoDown = false;
    // Height of one text line in the current font; 0 until measured.
    std::int32_t FLineHeight = 0;
    QString FLoadedFile;
    TTextEncoding FEncoding = TTextEncoding::Utf8;
};

} // namespace wn
