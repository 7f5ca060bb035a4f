#include "core/log/querycontext.h"

#include <algorithm>

namespace vf {

std::shared_ptr<const std::vector<uint64_t>> crashRowsOf(const CrashDetector& detector) {
    auto rows = std::make_shared<std::vector<uint64_t>>();
    for (const CrashRecord& crash : detector.crashes())
        for (const RowIdx idx : crash.rows) rows->push_back(idx.value());
    std::sort(rows->begin(), rows->end());
    rows->erase(std::unique(rows->begin(), rows->end()), rows->end());
    return rows;
}

void SeenValues::feed(const Row& row) {
    add(tags_, row.name());
    add(packages_, row.view(RowKey::Package));
}

void SeenValues::clear() {
    tags_.clear();
    packages_.clear();
}

void SeenValues::add(Set& set, std::string_view value) {
    if (value.empty() || set.size() >= kMaxValues || set.find(value) != set.end()) return;
    set.emplace(value);
}

QStringList SeenValues::list(const Set& set) {
    QStringList values;
    values.reserve(qsizetype(set.size()));
    for (const std::string& value : set) values << QString::fromUtf8(value.data(), qsizetype(value.size()));
    return values;
}

QueryContext fileQueryContext(const RowList& rows, uint8_t uses) {
    QueryContext context;
    for (auto it = rows.crbegin(); it != rows.crend(); ++it) {
        if ((*it)->time().empty()) continue;
        context.newestTime = std::string((*it)->time());
        break;
    }
    if ((uses & kQueryUsesCrashes) != 0) {
        CrashDetector detector;
        for (const RowPtr& row : rows) detector.feed(*row);
        detector.finish();
        context.crashRows = crashRowsOf(detector);
    }
    return context;
}

}  // namespace vf
