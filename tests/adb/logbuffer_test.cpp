// The pure words of a log stream: buffer markers and device times.
#include <gtest/gtest.h>

#include "core/adb/devicetime.h"
#include "core/adb/logbuffer.h"

namespace vf {
namespace {

TEST(LogBuffer, MarkersNameTheBufferOfTheLinesAfterThem) {
    const struct {
        const char* line;
        bool marker;
        std::optional<LogBuffer> buffer;
    } cases[] = {
        {"--------- beginning of main\n", true, LogBuffer::Main},
        {"--------- beginning of crash\r\n", true, LogBuffer::Crash},
        {"--------- switch to system\n", true, LogBuffer::System},
        {"--------- switch to kernel", true, LogBuffer::Kernel},
        {"--------- beginning of /dev/log/events\n", true, LogBuffer::Events},  // before Android 5
        {"--------- beginning of future\n", true, std::nullopt},                 // a buffer we do not know
        {"--------- beginning of\n", false, std::nullopt},
        {"-------- beginning of main\n", false, std::nullopt},
        {"01-02 03:04:05.678  1  2 I Tag: --------- beginning of main\n", false, std::nullopt},
        {"", false, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isBufferMarker(c.line), c.marker) << c.line;
        EXPECT_EQ(bufferOfMarker(c.line), c.buffer) << c.line;
    }
    for (const QString& name : logBufferNames()) {
        const auto buffer = logBufferFromName(name.toStdString());
        ASSERT_TRUE(buffer) << name.toStdString();
        EXPECT_EQ(logBufferName(*buffer), name.toStdString());
    }
    EXPECT_FALSE(logBufferFromName(""));
    EXPECT_FALSE(logBufferFromName("Main"));
}

TEST(DeviceTime, ShapeLeadingTimeAndSpans) {
    EXPECT_TRUE(isDeviceTime("01-02 03:04:05.678"));
    for (const char* bad : {"01-02 03:04:05.67", "01-02 03:04:05.6789", "01-02T03:04:05.678", "01-02 03:04:05,678",
                            "0a-02 03:04:05.678", "01-02 03:04:05.678'; reboot", ""})
        EXPECT_FALSE(isDeviceTime(bad)) << bad;
    EXPECT_EQ(leadingDeviceTime("01-02 03:04:05.678  12  13 I Tag: x\n"), "01-02 03:04:05.678");
    EXPECT_FALSE(leadingDeviceTime("--------- beginning of main\n"));

    const struct {
        const char *from, *to;
        std::optional<int64_t> ms;
    } spans[] = {
        {"03-17 09:41:12.300", "03-17 09:41:12.300", 0},
        {"03-17 09:41:12.300", "03-17 09:43:17.300", 125'000},
        {"03-17 09:41:12.300", "03-17 09:41:12.100", -200},
        {"02-28 23:59:59.999", "03-01 00:00:00.000", 1},
        {"12-31 23:59:59.000", "01-01 00:00:01.000", 2'000},  // over New Year
        {"03-17 09:41:12.300", "garbage", std::nullopt},
    };
    for (const auto& s : spans) EXPECT_EQ(deviceTimeSpanMs(s.from, s.to), s.ms) << s.from << " -> " << s.to;
}

// The device read its clock halfway between the host's request and reply.
TEST(DeviceTime, ClockOffsetFromTheDateReply) {
    const struct {
        const char* reply;
        int64_t before, after;
        std::optional<int64_t> offset;
    } cases[] = {
        {"1700000000.250000000\n", 1'700'000'000'000, 1'700'000'000'100, 200},
        {"1700003600.050123456\r\n", 1'700'000'000'000, 1'700'000'000'100, 3'600'000},  // an hour ahead
        {"1699999999.000000000\n", 1'700'000'000'000, 1'700'000'000'000, -1'000},
        {"1700000000.N\n", 0, 0, std::nullopt},  // a date without %N
        {"Tue Nov 14 22:13:20 UTC 2023\n", 0, 0, std::nullopt},
        {".500\n", 0, 0, std::nullopt},
        {"", 0, 0, std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(deviceClockOffsetMs(c.reply, c.before, c.after), c.offset) << c.reply;
}

}  // namespace
}  // namespace vf
