// wnpack grid: write, inspect, query, build, copy and export grid result files.
#include "Command.h"
#include "GridTool.h"
#include "Paths.h"
#include "Progress.h"

#include "framework/SysUtils.h"

#include <QJsonDocument>

namespace wnpack {
namespace {

const char *const cOutsideText = "point %1 %2 lies outside the grid; the nearest border node answers";

bool Quiet(TArgs &args)
{
    return args.Flag("-q", "--quiet");
}

int RunSample(TArgs &args)
{
    const bool quiet = Quiet(args);
    const auto cols = args.Option("--cols");
    const auto rows = args.Option("--rows");
    args.Expect(1, 1);
    const int c = cols ? ParseWhole(*cols, "--cols") : 200;
    const int r = rows ? ParseWhole(*rows, "--rows") : 160;
    TOutputFile out(args.Raw(0));
    TProgress progress(quiet);
    WriteSampleGrid(out, c, r, progress);
    return 0;
}

int RunInfo(TArgs &args)
{
    const bool json = args.Flag("--json");
    args.Expect(1, 1);
    const QString file = InputFile(args.Raw(0));
    if (json)
        Print(QString::fromUtf8(QJsonDocument(GridInfoJson(file)).toJson(QJsonDocument::Indented)));
    else
        Print(GridInfoText(file, file));
    return 0;
}

int RunQuery(TArgs &args)
{
    const bool json = args.Flag("--json");
    const bool section = args.Flag("--section");
    const auto cosine = args.Option("--cos");
    const auto sine = args.Option("--sin");
    args.Expect(3, 3);
    const TQueryPoint point{args.Number(1, "X"), args.Number(2, "Y"), section,
                            cosine ? ParseNumber(*cosine, "--cos") : 1.0,
                            sine ? ParseNumber(*sine, "--sin") : 0.0};
    const TQueryAnswer answer = QueryGrid(InputFile(args.Raw(0)), point);
    if (answer.Outside)
        Warn(QStringLiteral("grid query"),
             QString::fromLatin1(cOutsideText).arg(wn::FloatToStr(point.X), wn::FloatToStr(point.Y)));
    Print(json ? QString::fromUtf8(QJsonDocument(answer.Json).toJson(QJsonDocument::Indented)) : answer.Text);
    return 0;
}

// A job that reads the file at argument in and writes the one at argument out, which must not
// be the same file.
template <typename Job> int ReadAndWrite(TArgs &args, bool quiet, int in, int out, Job job)
{
    const QString source = InputFile(args.Raw(in));
    RefuseSameFile(args.Raw(in), args.Raw(out));
    TOutputFile file(args.Raw(out));
    TProgress progress(quiet);
    job(source, file, progress);
    return 0;
}

int RunCreate(TArgs &args)
{
    const bool quiet = Quiet(args);
    args.Expect(2, 2);
    return ReadAndWrite(args, quiet, 1, 0, CreateGrid);
}

int RunCopy(TArgs &args)
{
    const bool quiet = Quiet(args);
    args.Expect(2, 2);
    return ReadAndWrite(args, quiet, 0, 1, CopyGrid);
}

int RunExport(TArgs &args)
{
    const bool quiet = Quiet(args);
    const auto channel = args.Option("--channel");
    const auto format = args.Option("--format");
    args.Expect(2, 2);
    if (!channel)
        throw UsageError(QStringLiteral("export needs --channel"));
    if (format && *format != QLatin1String("asc"))
        throw UsageError(QLatin1String("unknown export format ") + *format + QLatin1String(" (only asc)"));
    return ReadAndWrite(args, quiet, 0, 1, [&](const QString &source, TOutputFile &out, TProgress &progress) {
        ExportGrid(source, *channel, out, progress);
    });
}

const TCommandRegistration registrations[] = {
    TCommandRegistration(
        {"grid sample", "OUT [--cols N] [--rows N]", "writes a synthetic noise map",
         "Writes a synthetic noise map of a motorway, a rail line and a factory with a barrier, on a grid "
         "of\n"
         "5 m: three H channels (Lday, Levening, Lnight, Single), one W1 channel per source without values\n"
         "of its own, and the source's three periods as W2 channels (SmallInt).",
         "  --cols N, --rows N nodes across and up (2 to 65535; 200 and 160 when not given)\n",
         "wnpack grid sample noise.rlk --cols 400 --rows 300", true, false, RunSample}),
    TCommandRegistration(
        {"grid info", "FILE [--json]", "structure, comment and channels of a grid file",
         "Prints counts, origin, spacing, extent, cell size, value types and every channel with name, unit,\n"
         "min, max, offset and factor. Single values appear in the shortest form that reads back the same\n"
         "(0.4); a min or max the writer never set shows as \"none\".",
         "  --json             the description as JSON in full precision, with the reserved bytes of the\n"
         "                     structure and the special block: what `wnpack grid create` reads\n",
         "wnpack grid info noise.rlk --json > noise.json", false, false, RunInfo}),
    TCommandRegistration(
        {"grid query", "FILE X Y [--section [--cos C] [--sin S]] [--json]", "the labelled values at a point",
         "Answers the point query at X Y. The first line holds X, Y and Z of the node that answers (the\n"
         "nearest; a point outside the grid is answered by a border node, with a warning on stderr), then\n"
         "one line per value: its tag, a tab and \"name [unit] <tab> value\". The tag names the channel:\n"
         "H channel k is k * 65536, W1 channel i is i * 256 and W2 channel j under it i * 256 + j; the line\n"
         "\"-\" with tag 0 ends the H lines. W1 and W2 units carry the SI prefix of the value (mPa, kW).",
         "  --section          a vertical section: X is the distance along the section line, Y a height\n"
         "  --cos C, --sin S   direction of the section line (1 and 0 when not given)\n"
         "  --json             the node and the values as JSON: tag, kind (H, W1, W2), index, channel (as\n"
         "                     export --channel takes it), name, unit and value\n",
         "wnpack grid query noise.rlk 3500420 5800310 --json", false, false, RunQuery}),
    TCommandRegistration(
        {"grid create", "OUT DESCRIPTION.json", "builds a grid file from its JSON description",
         "Builds a grid file from a JSON description as `wnpack grid info --json` prints it; values left "
         "out\n"
         "keep their defaults. \"cells\" places cells given in hex, each entry one or more whole cells\n"
         "side by side: {\"col\": 1, \"row\": 2, \"hex\": \"000a...\"}; all other cells are zero.",
         "", "wnpack grid create new.rlk noise.json", true, false, RunCreate}),
    TCommandRegistration(
        {"grid copy", "SRC DST", "copies a grid file through the package",
         "Copies a grid file through the package's reader and writer: the structure with its reserved\n"
         "bytes, comment, channels, special block and every cell. A file the suite wrote comes out byte\n"
         "for byte the same.",
         "", "wnpack grid copy noise.rlk backup.rlk", true, false, RunCopy}),
    TCommandRegistration(
        {"grid export", "FILE --channel CHANNEL [--format asc] OUT", "one channel as an ESRI ASCII grid",
         "Writes one channel as an ESRI ASCII grid (nodes as cell centres, north at the top), scaled to\n"
         "physical values. CHANNEL is H<k> for H channel k, W1.<i> for the value of W1 channel i, or\n"
         "W1.<i>.<j> for W2 channel j under W1 channel i (scaled as its W1 channel): H1, W1.2, W1.2.3.",
         "  --channel CHANNEL  the channel to write (needed)\n"
         "  --format asc       the format (the only one)\n",
         "wnpack grid export noise.rlk --channel W1.2.3 rail-night.asc", true, false, RunExport}),
};

} // namespace
} // namespace wnpack
