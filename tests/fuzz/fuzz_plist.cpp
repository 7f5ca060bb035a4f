// Property lists from files: the checked reader on arbitrary bytes, then the
// walks the saved-log and filter-file readers make over what it returns, and
// the filter-file reader itself.
#include <QByteArray>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "core/filter/filterfile.h"
#include "core/support/plistreader.h"

namespace {
void walk(plist_t node, int depth) {
    if (depth > vf::kPlistMaxDepth + 1) __builtin_trap();  // the check let a deeper tree through
    switch (plist_get_node_type(node)) {
        case PLIST_ARRAY:
            for (uint32_t i = 0; i < plist_array_get_size(node); ++i) walk(plist_array_get_item(node, i), depth + 1);
            break;
        case PLIST_DICT: {
            plist_dict_iter iter = nullptr;
            plist_dict_new_iter(node, &iter);
            for (;;) {
                char* key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, iter, &key, &value);
                if (key == nullptr) break;
                std::free(key);
                if (value != nullptr) walk(value, depth + 1);
            }
            std::free(iter);
            break;
        }
        case PLIST_STRING:
            (void)vf::plistString(node);
            break;
        default:
            break;
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    const vf::PlistReadResult result = vf::readPlistSafely(bytes);
    if (result) walk(result.root.get(), 1);
    (void)vf::filterFileEntries(bytes);
    return 0;
}
