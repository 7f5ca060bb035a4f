// The filter language on arbitrary text: parsing never crashes, and what
// parses prints a canonical text that parses again to the same text.
#include <QString>
#include <cstddef>
#include <cstdint>

#include "core/filter/predicate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const vf::ParseResult parsed = vf::Predicate::parse(text);
    if (!parsed.predicate) return 0;
    const QString canonical = parsed.predicate->format();
    const vf::ParseResult again = vf::Predicate::parse(canonical);
    if (!again.predicate || again.predicate->format() != canonical) __builtin_trap();
    return 0;
}
