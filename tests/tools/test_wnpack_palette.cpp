// wnpack palette render --editor: the editor form in edit mode on a palette file.
#include "TestSupport.h"

#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace wntest;

TEST(PaletteTool, RendersTheEditorOnAPaletteFile)
{
    if (!WnpackBuilt())
        GTEST_SKIP() << "wnpack is not built";
    QTemporaryDir dir;
    const QString scale = dir.filePath(QStringLiteral("Default.SGC"));
    const QString picture = dir.filePath(QStringLiteral("editor.png"));
    ASSERT_EQ(RunWnpack({QStringLiteral("palette"), QStringLiteral("default"), scale}).Status, 0);
    const TToolRun run = RunWnpack(
        {QStringLiteral("palette"), QStringLiteral("render"), scale, QStringLiteral("--editor"), picture});
    ASSERT_EQ(run.Status, 0) << qPrintable(run.Err);
    const QImage image(picture);
    // The grid panel (260 wide) and the edit panel (272) side by side, 245 high.
    EXPECT_EQ(image.size(), QSize(532, 245));
    // Entry 10 (255, 0, 0): column 9 of the first row, the grid's cells starting at (10, 10).
    EXPECT_EQ(image.pixel(10 + 9 * 15 + 7, 10 + 7), qRgb(255, 0, 0));
    // Entry 81 (0, 120, 0) starts row 5.
    EXPECT_EQ(image.pixel(10 + 7, 10 + 5 * 15 + 7), qRgb(0, 120, 0));

    const TToolRun missing =
        RunWnpack({QStringLiteral("palette"), QStringLiteral("render"),
                   dir.filePath(QStringLiteral("none.SGC")), QStringLiteral("--editor"), picture});
    EXPECT_NE(missing.Status, 0);
    EXPECT_TRUE(missing.Err.contains(QStringLiteral("none.SGC")));
}
