// Draws the package's bitmaps into resources/ and writes the .qrc files that embed them: the
// navigator and player glyphs (navigators.qrc), the 24 x 24 palette pictures of the components
// (palette.qrc) and the form designer's picture for components without one (designer.qrc). Run it
// as `glyphgen <resources folder>` after changing a picture; the PNGs are committed, so the build
// itself never runs this program.
//
// Every glyph is drawn as a mask on a pixel grid: 0 is background, 1 is the shape's outline,
// 2 its inside. The variants are derived from the mask, so the enabled, disabled and coloured
// pictures of a button always show the same shape. The palette pictures are drawn in colour from
// rectangles and small pixel maps.

#include <QDir>
#include <QImage>
#include <QSaveFile>
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
#include <utility>
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

// ---- palette pictures: 24 x 24 in colour ----

constexpr int PalSize = 24;

// The colours of the palette pictures by letter; '.' is the transparent olive.
QRgb PalColour(char c)
{
    switch (c) {
    case 'k': return Ink;
    case 'g': return Gray;
    case 'l': return qRgb(192, 192, 192);
    case 'w': return White;
    case 'r': return qRgb(224, 0, 0);
    case 'o': return qRgb(255, 144, 0);
    case 'y': return qRgb(255, 232, 0);
    case 'G': return qRgb(0, 168, 0);
    case 'e': return qRgb(0, 104, 0);
    case 'c': return qRgb(0, 208, 255);
    case 'b': return qRgb(0, 64, 255);
    case 'n': return qRgb(0, 0, 128);
    case 'p': return qRgb(144, 0, 176);
    default: return Olive;
    }
}

struct Canvas {
    QImage Img = Blank(PalSize, PalSize);

    void Fill(int x0, int y0, int x1, int y1, char c)
    {
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                Img.setPixel(x, y, PalColour(c));
    }
    void Frame(int x0, int y0, int x1, int y1, char c)
    {
        Fill(x0, y0, x1, y0, c);
        Fill(x0, y1, x1, y1, c);
        Fill(x0, y0, x0, y1, c);
        Fill(x1, y0, x1, y1, c);
    }
    // A raised face: light top and left edges, dark bottom and right edges.
    void Raised(int x0, int y0, int x1, int y1)
    {
        Fill(x0, y0, x1, y1, 'l');
        Fill(x0, y0, x1, y0, 'w');
        Fill(x0, y0, x0, y1, 'w');
        Fill(x0 + 1, y1, x1, y1, 'g');
        Fill(x1, y0 + 1, x1, y1, 'g');
    }
    // A small pixel map at (x, y); '.' leaves the picture as it is.
    void Map(int x, int y, std::initializer_list<const char *> rows)
    {
        for (const char *row : rows) {
            for (int i = 0; row[i]; ++i)
                if (row[i] != '.')
                    Img.setPixel(x + i, y, PalColour(row[i]));
            ++y;
        }
    }
    // Text in a 3 x 5 pixel font of the digits, the point and the minus sign; returns the x
    // after it.
    int Text(int x, int y, const char *text, char c)
    {
        for (const char *p = text; *p; ++p) {
            const Mask m = DigitMask(*p);
            for (int dy = 0; dy < m.H; ++dy)
                for (int dx = 0; dx < m.W; ++dx)
                    if (m.At(dx, dy))
                        Img.setPixel(x + dx, y + dy, PalColour(c));
            x += m.W + 1;
        }
        return x;
    }

    static Mask DigitMask(char d)
    {
        switch (d) {
        case '0': return FromRows({"###", "#.#", "#.#", "#.#", "###"});
        case '1': return FromRows({".#.", "##.", ".#.", ".#.", "###"});
        case '2': return FromRows({"##.", "..#", ".#.", "#..", "###"});
        case '5': return FromRows({"###", "#..", "##.", "..#", "##."});
        case '7': return FromRows({"###", "..#", ".#.", ".#.", ".#."});
        case '.': return FromRows({".", ".", ".", ".", "#"});
        default: return FromRows({"...", "...", "###", "...", "..."});
        }
    }
};

// A bar of four raised buttons: first, previous, next, last.
QImage PalNavigator()
{
    Canvas c;
    c.Fill(0, 7, 23, 16, 'k');
    for (int x = 0; x < PalSize; x += 6)
        c.Raised(x, 8, x + 5, 15);
    c.Map(1, 9, {"k..k", "k.kk", "kkkk", "k.kk", "k..k"});
    c.Map(8, 9, {"..k", ".kk", "kkk", ".kk", "..k"});
    c.Map(14, 9, {"k..", "kk.", "kkk", "kk.", "k.."});
    c.Map(19, 9, {"k..k", "kk.k", "kkkk", "kk.k", "k..k"});
    return c.Img;
}

// A grid with a grey title row and column, values right-aligned in white cells, one cell selected.
QImage PalValueGrid()
{
    Canvas c;
    c.Fill(0, 1, 23, 21, 'k');
    c.Fill(1, 2, 22, 20, 'w');
    c.Fill(1, 2, 4, 20, 'l');
    c.Fill(1, 2, 22, 4, 'l');
    for (int x : {5, 11, 17})
        c.Fill(x, 2, x, 20, 'g');
    for (int y : {5, 9, 13, 17})
        c.Fill(1, y, 22, y, 'g');
    const int cellX[] = {6, 12, 18};
    const int cellY[] = {6, 10, 14, 18};
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 3; ++col) {
            const bool selected = row == 1 && col == 1;
            if (selected)
                c.Fill(cellX[col], cellY[row], cellX[col] + 4, cellY[row] + 2, 'n');
            const int length = 2 + (row + col) % 2;
            c.Fill(cellX[col] + 4 - length, cellY[row] + 1, cellX[col] + 3, cellY[row] + 1,
                   selected ? 'w' : 'k');
        }
    return c.Img;
}

// A sunken white edit box.
void EditBox(Canvas &c, int x1)
{
    c.Fill(0, 5, x1, 18, 'g');
    c.Fill(1, 6, x1, 18, 'k');
    c.Fill(2, 7, x1 - 1, 17, 'w');
    c.Fill(0, 18, x1, 18, 'w');
    c.Fill(x1, 5, x1, 18, 'w');
}

// An edit showing 1.5 with an up and a down button at its right edge.
QImage PalSpinEditReal()
{
    Canvas c;
    EditBox(c, 23);
    c.Text(3, 10, "1.5", 'k');
    c.Raised(15, 7, 22, 11);
    c.Raised(15, 12, 22, 17);
    c.Map(17, 8, {"..k..", ".kkk."});
    c.Map(17, 14, {".kkk.", "..k.."});
    return c.Img;
}

// An edit showing 0.75 with the text cursor behind it.
QImage PalFloatEdit()
{
    Canvas c;
    EditBox(c, 23);
    const int end = c.Text(3, 10, "0.75", 'k');
    c.Fill(end + 1, 8, end + 1, 16, 'k');
    return c.Img;
}

// A report-style list: a title row and three files, each with its icon and two columns of text.
QImage PalFileListView()
{
    Canvas c;
    c.Fill(0, 1, 23, 22, 'k');
    c.Fill(1, 2, 22, 21, 'w');
    c.Raised(1, 2, 14, 5);
    c.Raised(15, 2, 22, 5);
    c.Fill(3, 4, 9, 4, 'g');
    c.Fill(17, 4, 20, 4, 'g');
    const char icon[] = {'y', 'w', 'w'};
    for (int i = 0; i < 3; ++i) {
        const int y = 8 + 5 * i;
        if (icon[i] == 'y') {
            c.Map(2, y - 1, {"oo...", "yyyyy", "yyyyy", "yyyyy"});
        } else {
            c.Map(2, y - 1, {"kkkk.", "kwwkk", "kwwwk", "kkkkk"});
        }
        c.Fill(9, y + 1, 13 - i, y + 1, 'n');
        c.Fill(17, y + 1, 20, y + 1, 'g');
    }
    return c.Img;
}

// A colour field: a sunken frame holding a red palette colour and the dotted focus frame.
QImage PalFarbFeld()
{
    Canvas c;
    c.Fill(1, 5, 22, 18, 'g');
    c.Fill(2, 6, 22, 18, 'k');
    c.Fill(3, 7, 21, 17, 'r');
    c.Fill(1, 18, 22, 18, 'w');
    c.Fill(22, 5, 22, 18, 'w');
    for (int x = 5; x <= 19; x += 2) {
        c.Img.setPixel(x, 9, Ink);
        c.Img.setPixel(x, 15, Ink);
    }
    for (int y = 11; y <= 13; y += 2) {
        c.Img.setPixel(5, y, Ink);
        c.Img.setPixel(19, y, Ink);
    }
    return c.Img;
}

// A colour scale: the bands of a noise map's legend from quiet green to loud purple.
QImage PalFarbArray()
{
    Canvas c;
    c.Fill(6, 1, 17, 22, 'k');
    const char bands[] = {'p', 'b', 'r', 'o', 'y', 'G', 'e'};
    for (int i = 0; i < 7; ++i)
        c.Fill(7, 2 + 3 * i, 16, 4 + 3 * i, bands[i]);
    return c.Img;
}

// A dialog window: grey, with a blue title bar holding the caption and the close cross.
Canvas DialogWindow()
{
    Canvas c;
    c.Fill(0, 1, 23, 22, 'k');
    c.Fill(1, 2, 22, 21, 'l');
    c.Fill(1, 2, 22, 5, 'n');
    c.Fill(3, 3, 10, 4, 'w');
    c.Map(19, 3, {"k.k", ".k.", "k.k"});
    return c;
}

// A dialog window with a grid of colours and a button.
QImage PalFarbDialog()
{
    Canvas c = DialogWindow();
    c.Fill(2, 7, 15, 20, 'k');
    const char swatch[] = {'r', 'o', 'y', 'G', 'c', 'b', 'p', 'e', 'w'};
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col) {
            const int x = 3 + 4 * col;
            const int y = 8 + 4 * row;
            c.Fill(x, y, x + 2, y + 2, swatch[row * 3 + col]);
        }
    c.Raised(17, 17, 21, 20);
    c.Frame(16, 16, 22, 21, 'k');
    return c.Img;
}

// A monitor whose connection leaves to the right, arrow first.
QImage PalClientSocket()
{
    Canvas c;
    c.Fill(1, 9, 12, 18, 'k');
    c.Fill(2, 10, 11, 17, 'l');
    c.Fill(3, 11, 10, 16, 'c');
    c.Fill(3, 11, 10, 11, 'b');
    c.Fill(5, 19, 8, 19, 'k');
    c.Fill(3, 20, 10, 21, 'k');
    c.Fill(4, 20, 9, 20, 'l');
    c.Fill(12, 13, 19, 14, 'r');
    c.Map(18, 10, {"k....", "kk...", "kkk..", "kkkk.", "kkkk.", "kkk..", "kk...", "k...."});
    c.Map(18, 11, {".", "r", "rr", "rr", "r"});
    return c.Img;
}

// A server tower with its drive slots and three connections arriving from the left.
QImage PalServerSocket()
{
    Canvas c;
    c.Fill(13, 1, 22, 22, 'k');
    c.Fill(14, 2, 21, 21, 'l');
    c.Fill(14, 2, 21, 2, 'w');
    for (int y : {5, 8, 11})
        c.Fill(15, y, 20, y, 'g');
    c.Fill(19, 15, 20, 15, 'G');
    c.Fill(15, 18, 20, 19, 'g');
    for (int y : {4, 11, 18}) {
        c.Fill(1, y, 10, y + 1, 'r');
        c.Map(10, y - 2, {"k..", "kk.", "kkk", "kkk", "kk.", "k.."});
    }
    return c.Img;
}

// A file-open dialog: title bar, an open yellow folder above a list of files, and a button.
QImage PalFileOpenDlg()
{
    Canvas c = DialogWindow();
    c.Map(3, 7, {"ooo......", "oyyoooooo", "oyyyyyyyo", "oyyyyyyyo", "ooooooooo"});
    c.Fill(2, 13, 21, 20, 'k');
    c.Fill(3, 14, 20, 19, 'w');
    for (int y : {15, 18})
        c.Fill(4, y, 12, y, 'k');
    c.Raised(15, 7, 21, 11);
    c.Frame(14, 6, 22, 12, 'k');
    return c.Img;
}

// Form designer's picture for a component without one: a grey component block.
QImage PalDefault()
{
    Canvas c;
    c.Fill(3, 3, 20, 20, 'k');
    c.Raised(4, 4, 19, 19);
    c.Fill(8, 8, 15, 15, 'g');
    c.Raised(9, 9, 14, 14);
    return c.Img;
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

bool WriteQrc(const QDir &dir, const char *name, const char *prefix, const QStringList &files)
{
    QSaveFile qrc(dir.filePath(QString::fromLatin1(name)));
    if (qrc.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream out(&qrc);
        out << "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n<qresource prefix=\"" << prefix << "\">\n";
        for (const QString &file : files)
            out << "    <file>" << file << "</file>\n";
        out << "</qresource>\n</RCC>\n";
        out.flush();
        if (qrc.commit())
            return true;
    }
    std::fprintf(stderr, "glyphgen: cannot write %s\n", qPrintable(qrc.fileName()));
    return false;
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

    ok = WriteQrc(dir, "navigators.qrc", "/bitmaps", written) && ok;

    // Named by the component's class in upper case, as the form designer looks them up.
    const std::pair<const char *, QImage> palette[] = {
        {"TWNCLIENTSOCKET", PalClientSocket()},
        {"TWNSERVERSOCKET", PalServerSocket()},
        {"TFARBARRAY", PalFarbArray()},
        {"TFARBDIALOG", PalFarbDialog()},
        {"TFARBFELD", PalFarbFeld()},
        {"TFILELISTVIEW", PalFileListView()},
        {"TFLOATEDIT", PalFloatEdit()},
        {"TNAVIGATOR", PalNavigator()},
        {"TSPINEDITREAL", PalSpinEditReal()},
        {"TVALUEGRID", PalValueGrid()},
        // A component of the host product's own, not of this package, whose picture travels here.
        {"TKVFILEOPENDLG", PalFileOpenDlg()},
    };
    QStringList paletteFiles;
    for (const auto &[name, img] : palette)
        ok = Save(img, dir, QString::fromLatin1(name), paletteFiles) && ok;
    ok = WriteQrc(dir, "palette.qrc", "/bitmaps", paletteFiles) && ok;

    QStringList designerFiles;
    ok = Save(PalDefault(), dir, QStringLiteral("DESIGNER_DEFAULT"), designerFiles) && ok;
    ok = WriteQrc(dir, "designer.qrc", "/designer", designerFiles) && ok;
    return ok ? 0 : 1;
}
