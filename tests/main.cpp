// Test entry point: a QApplication on the offscreen platform, then GoogleTest.
#include <QApplication>
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char **argv)
{
    // Test discovery runs this binary outside CTest's environment, so set the platform here.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
