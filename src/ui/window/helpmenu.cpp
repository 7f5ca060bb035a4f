#include "ui/window/helpmenu.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFile>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

#include "core/support/buildinfo.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr char16_t kTableKeys[] =
    u"<tr><td>Typing in the log</td><td>Search as you type</td></tr>"
    u"<tr><td>Return</td><td>Find the next match</td></tr>"
    u"<tr><td>Backspace</td><td>Remove the last searched character</td></tr>"
    u"<tr><td>Escape</td><td>End the search</td></tr>"
    u"<tr><td>Ctrl+Backspace</td><td>Clear the log</td></tr>";

constexpr char16_t kLogTagHelp[] =
    u"<p>The log tag expression (Preferences, General) chooses which messages the device sends. "
    u"It is a list of <b>TAG:LEVEL</b> pairs separated by blanks; the level is the lowest one shown "
    u"for that tag:</p>"
    u"<p><b>V</b> verbose, <b>D</b> debug, <b>I</b> info, <b>W</b> warning, <b>E</b> error, "
    u"<b>F</b> fatal, <b>S</b> silent (nothing).</p>"
    u"<p><b>*</b> stands for every other tag. Examples:</p>"
    u"<p><tt>*:W</tt> &nbsp;warnings and worse from every tag<br>"
    u"<tt>ActivityManager:I MyApp:D *:S</tt> &nbsp;only these two tags</p>"
    u"<p>Left empty, the device sends everything. The filters in the window narrow the log further "
    u"without asking the device again.</p>"
    u"<p><a href=\"https://developer.android.com/studio/command-line/logcat#filteringOutput\">"
    u"More about log tag expressions</a></p>";

void collect(const QMenu* menu, QString& rows) {
    for (const QAction* action : menu->actions()) {
        if (action->menu() != nullptr) collect(action->menu(), rows);
        if (action->isSeparator() || action->shortcuts().isEmpty()) continue;
        QStringList keys;
        for (const QKeySequence& key : action->shortcuts()) keys << key.toString(QKeySequence::NativeText);
        QString text = action->text();
        text.remove(u'&');
        rows += u"<tr><td>%1</td><td>%2</td></tr>"_s.arg(keys.join(u", "_s).toHtmlEscaped(), text.toHtmlEscaped());
    }
}

void showText(QMainWindow* window, const QString& title, const QString& html) {
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, html, QMessageBox::Close, window);
    box->setTextFormat(Qt::RichText);
    box->setTextInteractionFlags(Qt::TextBrowserInteraction);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

}  // namespace

QString shortcutsHtml(const QMainWindow* window) {
    QString rows;
    for (const QAction* action : window->menuBar()->actions())
        if (action->menu() != nullptr) collect(action->menu(), rows);
    return u"<table cellspacing=\"4\">"_s + rows + QString::fromUtf16(kTableKeys) + u"</table>"_s;
}

QDialog* showQueryLanguage(QMainWindow* window) {
    auto* dialog = new QDialog(window);
    dialog->setWindowTitle(u"Query Language"_s);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    auto* page = new QTextBrowser(dialog);
    page->setOpenExternalLinks(true);
    QFile file(u":/docs/query-language.md"_s);
    if (file.open(QIODevice::ReadOnly)) page->setMarkdown(QString::fromUtf8(file.readAll()));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(page, 1);
    layout->addWidget(buttons);
    dialog->resize(780, 640);
    dialog->show();
    return dialog;
}

QMenu* addHelpMenu(QMainWindow* window) {
    QMenu* help = window->menuBar()->addMenu(u"&Help"_s);
    QAction* keys = help->addAction(u"Keyboard Shortcuts"_s);
    keys->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Slash));
    QObject::connect(keys, &QAction::triggered, window,
                     [window] { showText(window, u"Keyboard Shortcuts"_s, shortcutsHtml(window)); });
    QAction* tags = help->addAction(u"Log Tag Expressions"_s);
    QObject::connect(tags, &QAction::triggered, window,
                     [window] { showText(window, u"Log Tag Expressions"_s, QString::fromUtf16(kLogTagHelp)); });
    QAction* queries = help->addAction(u"Query Language"_s);
    QObject::connect(queries, &QAction::triggered, window, [window] { showQueryLanguage(window); });
    help->addSeparator();
    QAction* feedback = help->addAction(u"Send Feedback…"_s);
    QObject::connect(feedback, &QAction::triggered, window, [] {
        QDesktopServices::openUrl(QUrl(u"mailto:?subject=Vellumfox%20Feedback"_s, QUrl::StrictMode));
    });
    help->addSeparator();
    QAction* about = help->addAction(u"About Vellumfox"_s);
    about->setMenuRole(QAction::AboutRole);
    QObject::connect(about, &QAction::triggered, window, [window] {
        QMessageBox::about(window, u"About Vellumfox"_s,
                           u"<h3>Vellumfox %1</h3><p>A viewer for the logs of Android devices.</p>"
                           u"<p>Revision %2, built %3.</p>"_s.arg(QLatin1String(build::kVersion),
                                                                  QLatin1String(build::kGitHash),
                                                                  QLatin1String(build::kBuildDate)));
    });
    QAction* aboutQt = help->addAction(u"About Qt"_s);
    aboutQt->setMenuRole(QAction::AboutQtRole);
    QObject::connect(aboutQt, &QAction::triggered, qApp, &QApplication::aboutQt);
    return help;
}

}  // namespace vf::ui
