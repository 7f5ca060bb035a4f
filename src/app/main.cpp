// vellumfox: the desktop viewer.
#include <QApplication>
#include <QCommandLineParser>
#include <cstdio>
#include <cstring>

#include "core/support/analytics.h"
#include "core/support/buildinfo.h"
#include "core/support/logger.h"
#include "ui/files/filecontroller.h"
#include "ui/vellumfoxappdelegate.h"

namespace {

// --help and --version answer without a display, before any GUI object exists.
bool answerWithoutDisplay(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0 || std::strcmp(argv[i], "-v") == 0) {
            std::printf("vellumfox %s (%s, built %s)\n", vf::build::kVersion, vf::build::kGitHash,
                        vf::build::kBuildDate);
            return true;
        }
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::printf(
                "Usage: vellumfox [options] [FILE]\n"
                "A viewer for Android device logs, beside the ADB server.\n\n"
                "Options:\n"
                "  -h, --help     Show this help and exit.\n"
                "  -v, --version  Show the version and exit.\n\n"
                "Arguments:\n"
                "  FILE           A saved log (any logcat text layout or .vellumfox)\n"
                "                 or a .filters file to import.\n");
            return true;
        }
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (answerWithoutDisplay(argc, argv)) return 0;
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vellumfox"));
    QApplication::setApplicationVersion(QString::fromLatin1(vf::build::kVersion));
    // The installed desktop entry: Wayland compositors take the window's icon and name from it.
    QGuiApplication::setDesktopFileName(QStringLiteral("io.github.vellumfox.vellumfox"));
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A saved log or a filter file to open."));
    parser.process(app);

    int status = 0;
    {
        const QStringList files = parser.positionalArguments();
        vf::ui::VellumfoxAppDelegate::Options options;
        // A file to show: reaching for a device first would only be stopped again.
        options.connectAtStart = files.isEmpty();
        vf::ui::VellumfoxAppDelegate controller(options);
        controller.applicationDidFinishLaunching();
        for (const QString& file : files) controller.openInNewTab(file);
        status = QApplication::exec();
        vf::AnalyticsHelper::recordStop();
    }
    vf::Logger::getInstance().shutdown();
    return status;
}
