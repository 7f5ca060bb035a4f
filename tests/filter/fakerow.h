#pragma once
// A log row for filter tests: field values from a small list, everything
// else empty.

#include <QString>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>

#include "core/filter/predicate.h"

namespace vf::test {

class FakeRow final : public FieldSource {
public:
    FakeRow(std::initializer_list<std::pair<RowKey, std::string>> values, uint64_t idx = 0) : idx_(idx) {
        for (const auto& [key, value] : values) values_[key] = value;
    }

    std::string_view field(RowKey key, FieldScratch& scratch) const override {
        if (key == RowKey::Idx) {
            const std::string text = std::to_string(idx_);
            std::copy(text.begin(), text.end(), scratch.begin());
            return std::string_view(scratch.data(), text.size());
        }
        const auto it = values_.find(key);
        return it == values_.end() ? std::string_view() : std::string_view(it->second);
    }

private:
    uint64_t idx_;
    std::map<RowKey, std::string> values_;
};

// Parses `text`, which the test expects to be valid.
inline PredicatePtr parsed(const char* text) {
    return Predicate::parse(QString::fromUtf8(text)).predicate;
}

// Whether `text` holds on `row` (false on parse or evaluation errors).
inline bool holds(const char* text, const FieldSource& row) {
    const PredicatePtr predicate = parsed(text);
    return predicate && predicate->evaluate(row, nullptr);
}

}  // namespace vf::test
