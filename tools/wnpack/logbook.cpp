// wnpack logbook: the lines of a log-book file, its plain text, or its printout as a PDF file.
#include "Command.h"

#include "framework/Exceptions.h"
#include "framework/UiServices.h"
#include "logging/KVLogBook.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPrinter>
#include <QSaveFile>
#include <QTemporaryDir>

#include <cerrno>
#include <cstdio>
#include <limits>

namespace wnpack {
namespace {

const char *const kUsage =
    "usage: wnpack logbook show FILE [--json] | text FILE | pdf FILE OUT.pdf [--title T]";

QString KindName(wn::TLogStatus art)
{
    static const char *const names[] = {
        "clog_protok",   "clog_abbruch",   "clog_warning",  "clog_userbreak",      "clog_except",
        "clog_exProtok", "clog_KVSResult", "clog_Progress", "clog_refreshGraphic", "clog_CheckPause",
        "clog_SetPause", "clog_Step",      "clog_Hint",     "clog_TileProgress",   "clog_Error"};
    return art < std::size(names) ? QLatin1String(names[art]) : QString::number(art);
}

wn::TLines ReadLines(const QString &fileName)
{
    wn::TLines lines;
    wn::TTextEncoding encoding;
    lines.LoadFromFile(fileName, encoding);
    return lines;
}

void Write(const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stdout);
}

// One line per log line: kind, help context, object key, error location ("-" for none) and text,
// separated by tabs; further lines of a multi-line text follow on lines that start with four tabs.
void ShowText(const wn::TLines &lines)
{
    for (std::int32_t i = 0; i < lines.Count(); ++i) {
        const wn::TLineInfo &line = lines[i];
        QString location = QStringLiteral("-");
        if (line.ErrObj)
            location = QStringLiteral("%1 %2 %3 %4")
                           .arg(line.ErrObj->ObjNr)
                           .arg(line.ErrObj->SubKind)
                           .arg(line.ErrObj->X, 0, 'f', 3)
                           .arg(line.ErrObj->Y, 0, 'f', 3);
        QString text = line.Text;
        text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
        text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
        text.replace(QLatin1Char('\n'), QLatin1String("\n\t\t\t\t"));
        Write(QStringLiteral("%1\t%2\t%3\t%4\t%5\n")
                  .arg(KindName(line.Art))
                  .arg(line.HelpContext)
                  .arg(line.ObjKey)
                  .arg(location, text)
                  .toUtf8());
    }
}

void ShowJson(const wn::TLines &lines)
{
    QJsonArray array;
    for (std::int32_t i = 0; i < lines.Count(); ++i) {
        const wn::TLineInfo &line = lines[i];
        QJsonObject entry{{"kind", KindName(line.Art)},
                          {"text", line.Text},
                          {"helpContext", line.HelpContext},
                          {"objKey", line.ObjKey},
                          {"errObj", QJsonValue::Null}};
        if (line.ErrObj)
            entry[QLatin1String("errObj")] = QJsonObject{{"objNr", line.ErrObj->ObjNr},
                                                         {"subKind", int(line.ErrObj->SubKind)},
                                                         {"x", line.ErrObj->X},
                                                         {"y", line.ErrObj->Y}};
        array.append(entry);
    }
    Write(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

void PrintPdf(const QString &fileName, const QString &outName, const QString &title)
{
    if (!QFileInfo::exists(fileName))
        throw wn::EInOutError::FromErrno(ENOENT, fileName);
    wn::TKVLogBook book;
    book.LoadFromFile(fileName, std::numeric_limits<std::int32_t>::max());
    // The printer writes its file directly; it is finished aside and then put in place whole.
    QTemporaryDir work;
    if (!work.isValid())
        throw wn::EInOutError(QStringLiteral("cannot make a temporary folder"), EIO);
    const QString printed = work.filePath(QStringLiteral("log.pdf"));
    QPrinter &printer = wn::UiServices().Printer();
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(printed);
    book.Print(title);
    QFile in(printed);
    QSaveFile out(outName);
    if (!in.open(QIODevice::ReadOnly))
        throw wn::EInOutError(QStringLiteral("%1 (%2)").arg(in.errorString(), printed), EIO);
    if (!out.open(QIODevice::WriteOnly) || out.write(in.readAll()) != in.size() || !out.commit())
        throw wn::EInOutError(QStringLiteral("%1 (%2)").arg(out.errorString(), outName), EIO);
}

int RunLogBook(const QStringList &args)
{
    const QString command = args.value(0);
    if (command == QLatin1String("show") && (args.size() == 2 || (args.size() == 3 && args[2] == "--json"))) {
        const wn::TLines lines = ReadLines(args[1]);
        if (args.size() == 3)
            ShowJson(lines);
        else
            ShowText(lines);
        return 0;
    }
    if (command == QLatin1String("text") && args.size() == 2) {
        QFile out;
        if (!out.open(stdout, QIODevice::WriteOnly) ||
            !ReadLines(args[1]).SaveToStream(out, wn::TTextEncoding::Utf8, true))
            throw std::runtime_error("cannot write to standard output");
        return 0;
    }
    if (command == QLatin1String("pdf") && (args.size() == 3 || (args.size() == 5 && args[3] == "--title"))) {
        PrintPdf(args[1], args[2], args.size() == 5 ? args[4] : QFileInfo(args[1]).fileName());
        return 0;
    }
    throw UsageError(kUsage);
}

const TCommandRegistration registration(
    {"logbook", "log-book files: show (--json) their lines, their text, or print them to PDF", RunLogBook});

} // namespace
} // namespace wnpack
