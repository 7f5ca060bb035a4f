#include "cli/filterscommand.h"

#include <iterator>
#include <string>

#include "core/filter/filterlibrary.h"
#include "core/support/terminaltext.h"
#include "core/text/textutils.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

void fail(std::ostream& err, const QString& message) { err << "vellumfox-cli: " << message.toStdString() << '\n'; }

// One name per line, whatever it holds: names saved before control
// characters were refused may still hold some, and a line break or an
// escape sequence must neither split the list nor drive the terminal.
void printName(std::ostream& out, const QString& name) { out << terminalSafe(name.toStdString() + '\n'); }

int listFilters(const FilterLibrary& library, std::ostream& out) {
    for (const QString& name : library.sortedFilterKeys()) printName(out, name);
    return kExitOk;
}

int showFilter(const FilterLibrary& library, const QString& name, std::ostream& out, std::ostream& err) {
    const PredicatePtr predicate = library.predicate(name);
    if (!predicate) {
        fail(err, u"no saved filter named '%1'"_s.arg(visibleControls(name)));
        return kExitFailure;
    }
    out << predicate->format().toStdString() << '\n';
    return kExitOk;
}

int importFilters(FilterLibrary& library, const QString& path, std::ostream& out, std::ostream& err) {
    const FilterImport result = library.importFilters(path);
    if (result.imported.isEmpty() && result.rejected.isEmpty()) {
        fail(err, u"%1 holds no filters (not a property-list dictionary of name to filter text)"_s.arg(path));
        return kExitFailure;
    }
    for (const QString& name : result.imported) printName(out, name);
    for (const QString& rejected : result.rejected) fail(err, u"not imported: %1"_s.arg(rejected));
    return result.rejected.isEmpty() ? kExitOk : kExitFailure;
}

int exportFilters(const FilterLibrary& library, const QStringList& arguments, std::ostream& err) {
    const QString path = arguments.first();
    QStringList names = arguments.mid(1);
    if (names.isEmpty()) names = library.sortedFilterKeys();
    for (const QString& name : std::as_const(names)) {
        if (!library.contains(name)) {
            fail(err, u"no saved filter named '%1'; nothing written"_s.arg(visibleControls(name)));
            return kExitFailure;
        }
    }
    if (names.isEmpty()) {
        fail(err, u"there are no saved filters; nothing written"_s);
        return kExitFailure;
    }
    if (!library.exportFilters(path, names)) {
        fail(err, u"cannot write %1"_s.arg(path));
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

int runFilters(const CliOptions& options, std::ostream& out, std::ostream& err) {
    PreferencesFilterStore store;
    FilterLibrary library(store);
    library.load();
    if (options.action == u"list"_s) return listFilters(library, out);
    if (options.action == u"show"_s) return showFilter(library, options.arguments.first(), out, err);
    if (options.action == u"import"_s) return importFilters(library, options.arguments.first(), out, err);
    return exportFilters(library, options.arguments, err);
}

std::optional<int> resolveSavedFilters(CliOptions& options, std::ostream& err) {
    if (options.saved.isEmpty()) return std::nullopt;
    PreferencesFilterStore store;
    FilterLibrary library(store);
    library.load();
    for (const QString& name : std::as_const(options.saved)) {
        const PredicatePtr predicate = library.predicate(name);
        if (!predicate) {
            fail(err, u"--saved: no saved filter named '%1' (see \"vellumfox-cli filters list\")"_s
                          .arg(visibleControls(name)));
            return kExitUsage;
        }
        options.filters.append(predicate->format());
    }
    return std::nullopt;
}

int runPretty(const CliOptions& options, std::istream& in, std::ostream& out, std::ostream& err) {
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const QString text = QString::fromStdString(bytes);
    QString result;
    if (options.action == u"json"_s) {
        result = TextUtils::lenientJsonPrettyPrinter(text);
    } else if (options.action == u"xml"_s) {
        result = TextUtils::lenientXMLPrettyPrinter(text);
    } else {
        const Base64Decoding decoded = TextUtils::decodeBase64(text);
        if (!decoded.text) {
            err << decoded.alertText.toStdString() << '\n';
            return kExitFailure;
        }
        result = *decoded.text;
    }
    out << result.toStdString();
    return kExitOk;
}

}  // namespace vf::cli
