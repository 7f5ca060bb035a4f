// Test entry point: every test binary runs inside a Qt application object so
// that sockets, timers and queued calls have an event loop to run on.
#include <gtest/gtest.h>

#ifdef VF_TEST_GUI
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

int main(int argc, char** argv) {
    // Tests never need a display; CTest's discovery step runs them without
    // the per-test environment, so choose the platform here too.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
