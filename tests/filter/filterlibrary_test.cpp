#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "core/filter/filterlibrary.h"

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

}  // namespace
}  // namespace vf
