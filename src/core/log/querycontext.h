#pragma once
// What a query's log-dependent terms (age, is:crash) are measured against,
// taken from the rows at hand, and the values seen in them that a query
// may name. The functions are pure; any thread.

#include <cstdint>
#include <QStringList>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "core/filter/query.h"
#include "core/log/crashdetector.h"
#include "core/log/logrow.h"

namespace vf {

// The idx of every row of every crash the detector lists, ascending.
std::shared_ptr<const std::vector<uint64_t>> crashRowsOf(const CrashDetector& detector);

// The tags and packages of the rows seen so far, for completing queries.
// Bounded: at most kMaxValues of each are kept. Not thread-safe: one
// thread feeds and reads it (the GUI thread in the viewer).
class SeenValues final {
public:
    static constexpr size_t kMaxValues = 5000;

    void feed(const Row& row);
    void clear();
    QStringList tags() const { return list(tags_); }
    QStringList packages() const { return list(packages_); }

private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };
    using Set = std::unordered_set<std::string, Hash, std::equal_to<>>;
    static void add(Set& set, std::string_view value);
    static QStringList list(const Set& set);

    Set tags_;
    Set packages_;
};

// A saved log's context: `age` counts back from its newest row (the last
// one with a time), and, when `uses` asks for crashes, `is:crash` takes the
// rows of the crashes a detector finds in it.
QueryContext fileQueryContext(const RowList& rows, uint8_t uses);

}  // namespace vf
