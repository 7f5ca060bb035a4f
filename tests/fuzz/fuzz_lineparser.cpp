// Every layout's line parser on arbitrary bytes: no crash, no read outside
// the line, and every field a row keeps lies inside the arena's copy. The
// first byte picks the layout, the rest is the line. For the threadtime
// file layouts, the one-walk scan must agree with the parser on every line
// it takes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/log/logparser.h"
#include "core/log/logrow.h"
#include "core/log/threadtimescan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const auto format = vf::LogLineFormat(1 + data[0] % 10);
    vf::RowArena arena;
    const std::string_view line = arena.copyLine(std::string_view(reinterpret_cast<const char*>(data + 1), size - 1));
    const vf::RowIndexSource index = vf::rowCounter();
    const vf::AppNameLookup apps = [](const vf::RowFields& fields, std::string& out) {
        const std::string_view pid = vf::fieldOf(fields, vf::RowKey::Pid);
        out.assign("app.").append(pid);
        return !pid.empty();
    };
    const vf::RowPtr row = vf::parseThreadTimeLine(arena, line, format, index, apps);
    if (row) {
        size_t total = 0;
        for (int k = 1; k < vf::kRowKeyCount; ++k) total += row->view(vf::RowKey(k)).size();
        if (total > 8 * size + 64) __builtin_trap();  // a field cannot come from nowhere
    }
    if (format == vf::LogLineFormat::ThreadTime || format == vf::LogLineFormat::ThreadTimeApp) {
        const vf::ScannedLine scanned =
            vf::scanThreadTimeLine(line.data(), line.data() + line.size(), format == vf::LogLineFormat::ThreadTimeApp);
        const std::string_view first = line.substr(0, size_t(scanned.end - line.data()));
        if (first.find_first_of("\r\n") != std::string_view::npos) __builtin_trap();
        if (scanned.plain) {
            const vf::RowPtr parsed = vf::parseThreadTimeLine(arena, first, format, index);
            if (!parsed) __builtin_trap();
            const vf::RowPtr sliced = arena.makeSliced(vf::RowIdx(), first, scanned.slices);
            for (int k = 1; k < vf::kRowKeyCount; ++k)
                if (parsed->view(vf::RowKey(k)) != sliced->view(vf::RowKey(k))) __builtin_trap();
        }
    }
    return 0;
}
