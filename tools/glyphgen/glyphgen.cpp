// Draws the navigator and player glyph bitmaps into resources/ and writes the .qrc that embeds
// them. Run it as `glyphgen <resources folder>` after changing a picture; the PNGs are committed,
// so the build itself never runs this program.
//
// Every picture is drawn as a mask on a pixel grid: 0 is background, 1 is the shape's outline,
// 2 its inside. The variants are derived from the mask, so the enabled, disabled and coloured
// pictures of a button always show the same shape.

#include <QDir>
#include <QFile>
#include <QImage>
#include <QString>
#include <QStringList>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <numbers>
#include <vector>

namespace {

// Olive marks the transparent pixels; the bottom-left pixel of every picture stays background,
// which is where a speed button takes its transparent colour from.
const QRgb Olive = qRgb(128, 128, 0);
const QRgb Ink = qRgb(0, 0, 0);
const QRgb Gray = qRgb(128, 128, 128);
const QRgb White = qRgb(255, 255, 255);

struct Mask {
    int W = 0;
    int H = 0;
    std::vector<int> Px;

    Mask(int w, int h) : W(w), H(h), Px(std::size_t(w * h), 0) {}
    bool Inside(int x, int y) const { return x >= 0 && y >= 0 && x < W && y < H; }
    int At(int x, int y) const { return Inside(x, y) ? Px[std::size_t(y * W + x)] : 0; }
    void Set(int x, int y)
    {
        if (Inside(x, y))
            Px[std::size_t(y * W + x)] = 1;
    }
    void Fill(int x0, int y0, int x1, int y1)
    {
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                Set(x, y);
    }
    void Clear(int x, int y)
    {
        if (Inside(x, y))
            Px[std::size_t(y * W + x)] = 0;
    }
    void Where(const std::function<bool(double, double)> &inside)
    {
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (inside(x, y))
                    Set(x, y);
    }
    Mask Mirrored() const
    {
        Mask m(W, H);
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                m.Px[std::size_t(y * W + x)] = At(W - 1 - x, y);
        return m;
    }
    // Pixels of the shape with a background neighbour are outline (1), the rest inside (2).
    void MarkInside()
    {
        std::vector<int> next = Px;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (At(x, y) && At(x - 1, y) && At(x + 1, y) && At(x, y - 1) && At(x, y + 1))
                    next[std::size_t(y * W + x)] = 2;
        Px = next;
    }
};

// A triangle pointing left or right: its flat side at column baseX spans centreY +- half rows,
// narrowing to one row at column apexX.
void Triangle(Mask &m, int baseX, int apexX, int centreY, int half)
{
    const int len = std::abs(apexX - baseX);
    const int step = apexX > baseX ? 1 : -1;
    for (int i = 0; i <= len; ++i) {
        const int span = int(std::lround(half * double(len - i) / len));
        for (int y = centreY - span; y <= centreY + span; ++y)
            m.Set(baseX + i * step, y);
    }
}

// A triangle pointing up: apex at (centreX, apexY), flat side on row baseY.
void TriangleUp(Mask &m, int centreX, int apexY, int baseY, int half)
{
    const int len = baseY - apexY;
    for (int i = 0; i <= len; ++i) {
        const int span = int(std::lround(half * double(i) / len));
        for (int x = centreX - span; x <= centreX + span; ++x)
            m.Set(x, apexY + i);
    }
}

double SegmentDistance(double px, double py, double x0, double y0, double x1, double y1)
{
    const double dx = x1 - x0, dy = y1 - y0;
    const double t = std::clamp(((px - x0) * dx + (py - y0) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
    return std::hypot(px - (x0 + t * dx), py - (y0 + t * dy));
}

void Stroke(Mask &m, double x0, double y0, double x1, double y1, double radius)
{
    m.Where([&](double x, double y) { return SegmentDistance(x, y, x0, y0, x1, y1) <= radius; });
}

// A mask drawn as text, one string per row, '#' for the shape.
Mask FromRows(std::initializer_list<const char *> rows)
{
    Mask m(int(std::strlen(*rows.begin())), int(rows.size()));
    int y = 0;
    for (const char *row : rows) {
        for (int x = 0; row[x]; ++x)
            if (row[x] == '#')
                m.Set(x, y);
        ++y;
    }
    return m;
}

// ---- navigator pictures: 13 rows, 14 columns (10 for previous and next) ----

constexpr int NavH = 13;

Mask NavFirst()
{
    Mask m(14, NavH);
    m.Fill(3, 2, 4, 10);
    Triangle(m, 10, 5, 6, 4);
    return m;
}

Mask NavPrior()
{
    Mask m(10, NavH);
    Triangle(m, 7, 3, 6, 4);
    return m;
}

Mask NavJumpPrior()
{
    Mask m(14, NavH);
    Triangle(m, 6, 2, 6, 4);
    Triangle(m, 11, 7, 6, 4);
    return m;
}

Mask NavInsert()
{
    Mask m(14, NavH);
    m.Fill(2, 5, 11, 7);
    m.Fill(6, 1, 7, 11);
    return m;
}

Mask NavDelete()
{
    Mask m(14, NavH);
    m.Fill(2, 5, 11, 7);
    return m;
}

// A pencil from the bottom left to the top right: an outlined shaft, a solid cap and a sharpened
// end with a solid point. Diagonal shapes this small read best drawn pixel by pixel.
Mask NavEdit()
{
    return FromRows({
        "..............",
        "..........#...",
        ".........###..",
        "........#.###.",
        ".......#...#..",
        "......#...#...",
        ".....#...#....",
        "....#...#.....",
        "....##.#......",
        "...##.#.......",
        "...###........",
        "..#...........",
        "..............",
    });
}

Mask NavPost()
{
    Mask m(14, NavH);
    Stroke(m, 2.5, 6.5, 5.5, 9.5, 0.9);
    Stroke(m, 5.5, 9.5, 11.5, 2.5, 0.9);
    return m;
}

Mask NavCancel()
{
    Mask m(14, NavH);
    Stroke(m, 3, 2, 10, 9.5, 0.9);
    Stroke(m, 10, 2, 3, 9.5, 0.9);
    return m;
}

// A circular arrow turning clockwise: a ring open at the upper right whose upper end carries an
// arrow head pointing right.
Mask NavRefresh()
{
    Mask m(14, NavH);
    const double cx = 6.5, cy = 6.5;
    m.Where([&](double x, double y) {
        const double r = std::hypot(x - cx, y - cy);
        const double a = std::atan2(cy - y, x - cx) * 180.0 / std::numbers::pi;
        return r >= 3.4 && r <= 5.0 && !(a > -5 && a < 60);
    });
    for (int i = 0; i < 4; ++i)
        for (int y = i; y <= 6 - i; ++y)
            m.Set(8 + i, y);
    return m;
}

// ---- player pictures: 21 x 16 ----

constexpr int PlayW = 21;
constexpr int PlayH = 16;
constexpr int PlayCy = 8;
constexpr int PlayHalf = 5;

Mask PlayPlay()
{
    Mask m(PlayW, PlayH);
    Triangle(m, 6, 15, PlayCy, PlayHalf + 1);
    return m;
}

Mask PlayPause()
{
    Mask m(PlayW, PlayH);
    m.Fill(5, PlayCy - PlayHalf, 8, PlayCy + PlayHalf);
    m.Fill(12, PlayCy - PlayHalf, 15, PlayCy + PlayHalf);
    return m;
}

Mask PlayStop()
{
    Mask m(PlayW, PlayH);
    m.Fill(5, PlayCy - PlayHalf, 15, PlayCy + PlayHalf);
    return m;
}

Mask PlayNext()
{
    Mask m(PlayW, PlayH);
    Triangle(m, 2, 8, PlayCy, PlayHalf);
    Triangle(m, 9, 15, PlayCy, PlayHalf);
    m.Fill(16, PlayCy - PlayHalf, 17, PlayCy + PlayHalf);
    return m;
}

Mask PlayStep()
{
    Mask m(PlayW, PlayH);
    Triangle(m, 6, 12, PlayCy, PlayHalf);
    m.Fill(13, PlayCy - PlayHalf, 14, PlayCy + PlayHalf);
    return m;
}

Mask PlayRecord()
{
    Mask m(PlayW, PlayH);
    m.Where([](double x, double y) { return std::hypot(x - 10, y - PlayCy) <= 5.6; });
    return m;
}

Mask PlayEject()
{
    Mask m(PlayW, PlayH);
    TriangleUp(m, 10, 3, 9, 6);
    m.Fill(4, 11, 16, 13);
    return m;
}

// ---- rendering the variants ----

QImage Blank(int w, int h)
{
    QImage img(w, h, QImage::Format_RGB32);
    img.fill(Olive);
    return img;
}

void DrawEnabled(QImage &img, const Mask &m, int left)
{
    for (int y = 0; y < m.H; ++y)
        for (int x = 0; x < m.W; ++x)
            if (m.At(x, y))
                img.setPixel(left + x, y, Ink);
}

// The engraved look of a disabled control: the shape in gray over a white copy one pixel
// down and to the right.
void DrawDisabled(QImage &img, const Mask &m, int left)
{
    for (int y = 0; y < m.H; ++y)
        for (int x = 0; x < m.W; ++x)
            if (m.At(x, y) && m.Inside(x + 1, y + 1))
                img.setPixel(left + x + 1, y + 1, White);
    for (int y = 0; y < m.H; ++y)
        for (int x = 0; x < m.W; ++x)
            if (m.At(x, y))
                img.setPixel(left + x, y, Gray);
}

void DrawColoured(QImage &img, Mask m, QRgb colour)
{
    m.MarkInside();
    for (int y = 0; y < m.H; ++y)
        for (int x = 0; x < m.W; ++x)
            if (m.At(x, y))
                img.setPixel(x, y, m.At(x, y) == 2 ? colour : Ink);
}

bool Save(const QImage &img, const QDir &dir, const QString &name, QStringList &written)
{
    const QString file = name + ".png";
    if (!img.save(dir.filePath(file), "PNG")) {
        std::fprintf(stderr, "glyphgen: cannot write %s\n", qPrintable(dir.filePath(file)));
        return false;
    }
    written << file;
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: glyphgen <resources folder>\n");
        return 1;
    }
    QDir dir(QString::fromLocal8Bit(argv[1]));
    if (!dir.exists() && !QDir().mkpath(dir.path())) {
        std::fprintf(stderr, "glyphgen: cannot create %s\n", argv[1]);
        return 1;
    }

    QStringList written;
    bool ok = true;

    struct NavPicture {
        const char *Name;
        Mask Shape;
    };
    const NavPicture nav[] = {
        {"N_FIRST", NavFirst()},
        {"N_JPRIOR", NavJumpPrior()},
        {"N_PRIOR", NavPrior()},
        {"N_NEXT", NavPrior().Mirrored()},
        {"N_JNEXT", NavJumpPrior().Mirrored()},
        {"N_LAST", NavFirst().Mirrored()},
        {"N_INSERT", NavInsert()},
        {"N_DELETE", NavDelete()},
        {"N_EDIT", NavEdit()},
        {"N_POST", NavPost()},
        {"N_CANCEL", NavCancel()},
        {"N_REFRESH", NavRefresh()},
    };
    for (const NavPicture &p : nav) {
        QImage img = Blank(2 * p.Shape.W, NavH);
        DrawEnabled(img, p.Shape, 0);
        DrawDisabled(img, p.Shape, p.Shape.W);
        ok = Save(img, dir, QString::fromLatin1(p.Name), written) && ok;
    }

    struct PlayPicture {
        const char *Name;
        Mask Shape;
        QRgb Colour;
    };
    const QRgb blue = qRgb(0, 64, 224);
    const PlayPicture play[] = {
        {"MPPLAY", PlayPlay(), qRgb(0, 176, 0)},     {"MPPAUSE", PlayPause(), qRgb(255, 200, 0)},
        {"MPSTOP", PlayStop(), qRgb(208, 0, 0)},     {"MPNEXT", PlayNext(), blue},
        {"MPPREV", PlayNext().Mirrored(), blue},     {"MPSTEP", PlayStep(), blue},
        {"MPBACK", PlayStep().Mirrored(), blue},     {"MPRECORD", PlayRecord(), qRgb(255, 0, 0)},
        {"MPEJECT", PlayEject(), qRgb(0, 160, 160)},
    };
    for (const PlayPicture &p : play) {
        const QString name = QString::fromLatin1(p.Name);
        QImage en = Blank(PlayW, PlayH);
        DrawEnabled(en, p.Shape, 0);
        QImage di = Blank(PlayW, PlayH);
        DrawDisabled(di, p.Shape, 0);
        QImage cl = Blank(PlayW, PlayH);
        DrawColoured(cl, p.Shape, p.Colour);
        ok = Save(en, dir, "EN_" + name, written) && ok;
        ok = Save(di, dir, "DI_" + name, written) && ok;
        ok = Save(cl, dir, "CL_" + name, written) && ok;
    }

    QFile qrc(dir.filePath("navigators.qrc"));
    if (!qrc.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        std::fprintf(stderr, "glyphgen: cannot write %s\n", qPrintable(qrc.fileName()));
        return 1;
    }
    QTextStream out(&qrc);
    out << "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n<qresource prefix=\"/bitmaps\">\n";
    for (const QString &file : written)
        out << "    <file>" << file << "</file>\n";
    out << "</qresource>\n</RCC>\n";
    return ok ? 0 : 1;
}
