#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "core/filter/filterlibrary.h"
#include "core/support/plistreader.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

class MemoryStore final : public FilterStore {
public:
    std::optional<QVariantMap> read() const override { return saved; }
    void write(const QVariantMap& filters) override {
        saved = filters;
        ++writes;
    }
    std::optional<QVariantMap> saved;
    int writes = 0;
};

TEST(FilterLibrary, FirstRunSavesTheLevelPresetsInCaseInsensitiveOrder) {
    MemoryStore store;
    FilterLibrary library(store);
    library.load();
    EXPECT_EQ(library.sortedFilterKeys(), (QStringList{u"LogLevel Debug"_s, u"LogLevel Error"_s, u"LogLevel Info"_s,
                                                       u"LogLevel Verbose"_s, u"LogLevel Warn"_s}));
    ASSERT_TRUE(store.saved);
    EXPECT_EQ(store.saved->value(u"LogLevel Warn"_s).toString(), u"type IN[cd] \"W,E,F,A\""_s);  // canonical
    // A later run reads what is there, even an emptied library.
    library.removeFilters(library.sortedFilterKeys());
    library.load();
    EXPECT_TRUE(library.sortedFilterKeys().isEmpty());
    library.setFilter(u"b"_s, Predicate::parse(u"type == 'E'").predicate);
    library.setFilter(u"A"_s, Predicate::parse(u"type == 'W'").predicate);
    library.setFilter(u"a2"_s, Predicate::parse(u"type == 'I'").predicate);
    EXPECT_EQ(library.sortedFilterKeys(), (QStringList{u"A"_s, u"a2"_s, u"b"_s}));
}

TEST(FilterLibrary, NewNamesCountUpFromTheBase) {
    MemoryStore store;
    store.saved = QVariantMap{};
    FilterLibrary library(store);
    library.load();
    const PredicatePtr any = Predicate::parse(u"type == 'E'").predicate;
    QStringList names;
    for (int i = 0; i < 3; ++i) {
        names << library.newUnusedPredicateName();
        library.setFilter(names.last(), any);
    }
    EXPECT_EQ(names, (QStringList{u"unnamed"_s, u"unnamed-1"_s, u"unnamed-2"_s}));
    library.setFilter(u"net"_s, any);
    EXPECT_EQ(library.newUnusedPredicateName(u"net"_s), u"net-1"_s);
    EXPECT_EQ(library.newUnusedPredicateName(u"other"_s), u"other"_s);
}

TEST(FilterLibrary, ExportThenImportReplacesTheSameName) {
    QTemporaryDir dir;
    MemoryStore mine;
    FilterLibrary source(mine);
    source.load();
    source.setFilter(u"LogLevel Info"_s, Predicate::parse(u"type == 'I'").predicate);
    source.setFilter(u"net"_s, Predicate::parse(u"name ==[cd] 'net'").predicate);
    const QString path = dir.filePath(u"shared.filters"_s);
    EXPECT_FALSE(source.exportFilters(path, {}));  // only "All Messages" chosen
    EXPECT_FALSE(QFile::exists(path));
    ASSERT_TRUE(source.exportFilters(path, {u"LogLevel Info"_s, u"net"_s}));
    EXPECT_EQ(readFilterFile(path).size(), 2);

    MemoryStore fresh;
    FilterLibrary target(fresh);
    target.load();
    const FilterImport result = target.importFilters(path);
    EXPECT_EQ(result.imported.size(), 2);
    EXPECT_EQ(target.sortedFilterKeys().size(), 6);
    EXPECT_EQ(target.predicate(u"LogLevel Info"_s)->format(), u"type == \"I\""_s);
    EXPECT_EQ(fresh.saved->value(u"net"_s).toString(), u"name ==[cd] \"net\""_s);

    // Texts that do not parse are reported, the rest still lands; a file
    // that is no dictionary imports nothing but still saves.
    writeFilterFile(path, {{u"bad"_s, u"level == 'E'"_s}, {u"good"_s, u"tid == '7'"_s}});
    const FilterImport mixed = target.importFilters(path);
    EXPECT_EQ(mixed.imported, QStringList{u"good"_s});
    ASSERT_EQ(mixed.rejected.size(), 1);
    EXPECT_TRUE(mixed.rejected.first().startsWith(u"bad: "_s));
    const int writes = fresh.writes;
    EXPECT_TRUE(target.importFilters(dir.filePath(u"missing.filters"_s)).imported.isEmpty());
    EXPECT_EQ(fresh.writes, writes + 1);
}

// Names that would drive a terminal or split a list are refused at import,
// shown with their control characters escaped, and never saved.
TEST(FilterLibrary, NamesWithControlCharactersAreRefused) {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"hostile.filters"_s);
    writeFilterFile(path, {{u"ok"_s, u"type == 'E'"_s},
                           {u"evil\x1b]0;pwned\x07"_s, u"type == 'W'"_s},
                           {u"two\nnames"_s, u"type == 'I'"_s},
                           {u"sep\u2028"_s, u"type == 'D'"_s}});
    MemoryStore store;
    FilterLibrary library(store);
    library.load();
    const FilterImport result = library.importFilters(path);
    EXPECT_EQ(result.imported, QStringList{u"ok"_s});
    const QString reason = u": the name holds a control character"_s;
    EXPECT_EQ(result.rejected, (QStringList{u"sep\u2028"_s + reason, u"two\\x0anames"_s + reason,
                                            u"evil\\x1b]0;pwned\\x07"_s + reason}));
    EXPECT_FALSE(library.setFilter(u"bell\x07"_s, Predicate::parse(u"type == 'E'").predicate));
    EXPECT_FALSE(store.saved->contains(u"bell\x07"_s));
    EXPECT_EQ(library.sortedFilterKeys().size(), 6);
}

// The XML reader gives exactly what the property-list library gives for a
// filter file, without its cost on large dictionaries.
TEST(FilterFile, XmlDictionariesReadAsThePropertyListLibraryReadsThem) {
    const auto libraryEntries = [](const QByteArray& bytes) {
        QVariantMap entries;
        const PlistReadResult parsed = readPlistSafely(bytes);
        if (!parsed || plist_get_node_type(parsed.root.get()) != PLIST_DICT) return entries;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(parsed.root.get(), &iter);
        for (char* key = nullptr;; free(key)) {
            plist_t value = nullptr;
            plist_dict_next_item(parsed.root.get(), iter, &key, &value);
            if (key == nullptr) break;
            if (plist_get_node_type(value) == PLIST_STRING)
                entries.insert(QString::fromUtf8(key), QString::fromStdString(plistString(value)));
        }
        free(iter);
        return entries;
    };
    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
                            "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
    const QByteArray documents[] = {
        head + "<plist version=\"1.0\"><dict><key>a &amp; b</key><string>x &lt; 'caf&#233;'</string>"
               "<key>n</key><integer>5</integer><key>d</key><dict><key>k</key><string>v</string></dict>"
               "<key>e</key><string/><key> sp </key><string> t\n </string><key>c</key><string><![CDATA[<x>]]></string>"
               "<key>a &amp; b</key><string>again</string></dict></plist>",
        "<plist><dict><key>esc\x1b bel&#7; &#x1B;\xc2\x85</key><string>v&#10;\x01</string></dict></plist>",
        "<plist version=\"1.0\"><array><string>x</string></array></plist>",
        head + "<plist version=\"1.0\"><dict><key>a</key><string>x</string>",
        "not xml at all",
    };
    for (const QByteArray& document : documents) {
        SCOPED_TRACE(document.toStdString());
        EXPECT_EQ(filterFileEntries(document), libraryEntries(document));
    }
    EXPECT_EQ(filterFileEntries(documents[0]).size(), 4);
}

}  // namespace
}  // namespace vf
