// wnpack logbook: the lines of a log-book file, its plain text, or its printout as a PDF file.
#include "Command.h"
#include "Paths.h"

#include "framework/Exceptions.h"
#include "logging/KVLogBook.h"

#include <QBuffer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPdfWriter>

#include <cstdio>

namespace wnpack {
namespace {

QString KindName(wn::TLogStatus art)
{
    static const char *const names[] = {
        "clog_protok",   "clog_abbruch",   "clog_warning",  "clog_userbreak",      "clog_except",
        "clog_exProtok", "clog_KVSResult", "clog_Progress", "clog_refreshGraphic", "clog_CheckPause",
        "clog_SetPause", "clog_Step",      "clog_Hint",     "clog_TileProgress",   "clog_Error"};
    return art < std::size(names) ? QLatin1String(names[art]) : QString::number(art);
}

wn::TLines ReadLines(const QByteArray &raw)
{
    wn::TLines lines;
    wn::TTextEncoding encoding;
    lines.LoadFromFile(InputFile(raw), encoding);
    return lines;
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
        Print(QStringLiteral("%1\t%2\t%3\t%4\t%5\n")
                  .arg(KindName(line.Art))
                  .arg(line.HelpContext)
                  .arg(line.ObjKey)
                  .arg(location, text));
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
    Print(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented)));
}

int RunShow(TArgs &args)
{
    const bool json = args.Flag("--json");
    args.Expect(1, 1);
    const wn::TLines lines = ReadLines(args.Raw(0));
    if (json)
        ShowJson(lines);
    else
        ShowText(lines);
    return 0;
}

int RunText(TArgs &args)
{
    args.Expect(1, 1);
    QBuffer text;
    text.open(QIODevice::WriteOnly);
    ReadLines(args.Raw(0)).SaveToStream(text, wn::TTextEncoding::Utf8, true);
    std::fwrite(text.data().constData(), 1, std::size_t(text.size()), stdout);
    return 0;
}

int RunPdf(TArgs &args)
{
    const auto title = args.Option("--title");
    args.Expect(2, 2);
    RefuseSameFile(args.Raw(0), args.Raw(1));
    const wn::TLines lines = ReadLines(args.Raw(0));
    TOutputFile out(args.Raw(1));
    // Laid out in memory first, then written whole through the save file.
    QBuffer pdf;
    pdf.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&pdf);
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setResolution(300);
        const QString shownTitle = title ? *title : QFileInfo(Shown(args.Raw(0))).fileName();
        writer.setTitle(shownTitle);
        wn::PrintLines(lines, writer, QGuiApplication::font(), shownTitle);
    }
    out.Write(pdf.data());
    out.Commit();
    return 0;
}

const TCommandRegistration registrations[] = {
    TCommandRegistration(
        {"logbook show", "FILE [--json]", "the lines of a log-book file",
         "Prints one line per log line: kind (the TLogStatus name), help context, object key, error\n"
         "location (object number, sub-kind, x, y; \"-\" for none) and text, separated by tabs. Further\n"
         "lines of a multi-line message follow, each after four tabs.",
         "  --json             an array of objects with kind, text, helpContext, objKey and errObj\n"
         "                     (objNr, subKind, x, y; or null)\n",
         "wnpack logbook show calc.log --json", false, false, RunShow}),
    TCommandRegistration(
        {"logbook text", "FILE", "the plain text of a log-book file",
         "Prints the text of every line without kind codes and fields, each ended by CR LF,\n"
         "as the log book's plain-text export writes it.",
         "", "wnpack logbook text calc.log > calc.txt", false, false, RunText}),
    TCommandRegistration(
        {"logbook pdf", "FILE OUT.pdf [--title T]", "prints a log-book file to PDF",
         "Prints the log book as it would go to the printer: A4 pages with the title on top, every line\n"
         "in its screen colour and prefix, and the pages numbered \"Page\" 1, 2, ...",
         "  --title T          the title on every page (the file's name when not given)\n",
         "wnpack logbook pdf calc.log calc.pdf --title \"Noise map Nord\"", false, true, RunPdf}),
};

} // namespace
} // namespace wnpack
