// wnpack palette render --editor: the editor form in edit mode on a palette file.
#include "TestSupport.h"

#include <QImage>
#include <gtest/gtest.h>

using namespace wntest;

using PaletteTool = TTempDirTest;

TEST_F(PaletteTool, RendersTheEditorOnAPaletteFile)
{
    if (!WnpackBuilt())
        GTEST_SKIP() << "wnpack is not built";
    const QString scale = Path("Default.SGC"), picture = Path("editor.png");
    ASSERT_EQ(RunWnpack({"palette", "default", scale}).Status, 0);
    const TToolRun run = RunWnpack({"palette", "render", scale, "--editor", picture});
    ASSERT_EQ(run.Status, 0) << qPrintable(run.Err);
    const QImage image(picture);
    // The grid panel (260 wide) and the edit panel (272) side by side, 245 high.
    EXPECT_EQ(image.size(), QSize(532, 245));
    // Entry 10 (255, 0, 0): column 9 of the first row, the grid's cells starting at (10, 10).
    EXPECT_EQ(image.pixel(10 + 9 * 15 + 7, 10 + 7), qRgb(255, 0, 0));
    // Entry 81 (0, 120, 0) starts row 5.
    EXPECT_EQ(image.pixel(10 + 7, 10 + 5 * 15 + 7), qRgb(0, 120, 0));

    const TToolRun missing = RunWnpack({"palette", "render", Path("none.SGC"), "--editor", picture});
    EXPECT_NE(missing.Status, 0);
    EXPECT_TRUE(missing.Err.contains(QStringLiteral("none.SGC")));
}
