#include "core/log/rowmemory.h"

namespace vf {

size_t estimateRowBytes(const RowList& rows, qsizetype samples) {
    const qsizetype count = rows.size();
    if (count == 0 || samples <= 0) return 0;
    const qsizetype taken = qMin(count, samples);
    size_t lineBytes = 0;
    // Evenly spread over the list: the first and, for long lists, up to the last.
    for (qsizetype i = 0; i < taken; ++i) lineBytes += rows.at(i * count / taken)->span().size();
    const size_t perRow = sizeof(Row) + sizeof(RowPtr);
    return size_t(count) * perRow + size_t(double(lineBytes) * double(count) / double(taken));
}

}  // namespace vf
