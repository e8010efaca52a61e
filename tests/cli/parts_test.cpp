// Parts of zyscene that a run of the whole program cannot show in a moment: the JSON writer's numbers and
// nesting, and the progress bar's timing.

#include "Program.h"

#include "Console.h"
#include "JsonWriter.h"
#include "Output.h"
#include "Progress.h"
#include "Text.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using ::testing::EndsWith;
using ::testing::HasSubstr;
using zyscene::JsonWriter;

namespace
{
std::string written(const std::function<void(JsonWriter&)>& write)
{
    const TemporaryFolder folder;
    const int fd = ::open((folder / "out.json").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    {
        zyscene::Output out(fd);
        JsonWriter json(out);
        write(json);
    }
    ::close(fd);
    return readFile(folder / "out.json");
}

std::string number(float value)
{
    return written([value](JsonWriter& json) { json.value(value); });
}

// -- JSON --------------------------------------------------------------------------------------------

TEST(JsonWriter, floatsAreInTheShortestFormThatReadsBack)
{
    EXPECT_EQ("0.1", number(0.1f));
    EXPECT_EQ("1", number(1.0f));
    EXPECT_EQ("-0", number(-0.0f));
    EXPECT_EQ("16777216", number(16777216.0f));
    EXPECT_EQ("0.3", number(0.1f + 0.2f)); // as a double it would be 0.30000001192092896
    for (float value : {1e-45f, 3.4028235e38f, 1.17549435e-38f, 0.393700778f, 6.214e-6f, 1.0f / 3.0f})
        EXPECT_EQ(value, std::strtof(number(value).c_str(), nullptr));
    EXPECT_EQ("0.1", written([](JsonWriter& json) { json.value(0.1); }));
}

TEST(JsonWriter, numbersThatJsonLacksAreTexts)
{
    EXPECT_EQ("\"nan\"", number(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ("\"inf\"", number(std::numeric_limits<float>::infinity()));
    EXPECT_EQ("\"-inf\"", number(-std::numeric_limits<float>::infinity()));
}

TEST(JsonWriter, wholeNumbersKeepAllDigits)
{
    EXPECT_EQ("18446744073709551615",
              written([](JsonWriter& json) { json.value(std::numeric_limits<std::uint64_t>::max()); }));
    EXPECT_EQ("-9223372036854775808",
              written([](JsonWriter& json) { json.value(std::numeric_limits<std::int64_t>::min()); }));
}

TEST(JsonWriter, textsAreEscapedAndUtf8)
{
    const auto text = [](std::string_view value) {
        return written([value](JsonWriter& json) { json.value(value); });
    };
    EXPECT_EQ("\"a\\\"b\\\\c\\n\\t\\u0001\"", text("a\"b\\c\n\t\x01"));
    EXPECT_EQ("\"T\xc3\xbcr \xf0\x9f\x9a\x97\"", text("T\xc3\xbcr \xf0\x9f\x9a\x97"));
    EXPECT_EQ("\"\\u0000\"", text(std::string_view("\0", 1)));
    // Cut short, overlong, a surrogate, too large, a lone continuation.
    for (const char* bad : {"\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf5\x80\x80\x80", "\x80"}) {
        const std::string shown = text(bad);
        EXPECT_TRUE(nlohmann::json::accept(shown)) << shown;
        EXPECT_THAT(shown, HasSubstr("\xef\xbf\xbd"));
    }
}

TEST(JsonWriter, everyPairOfBytesGivesAValidText)
{
    const std::string shown = written([](JsonWriter& json) {
        json.beginArray();
        for (unsigned int pair = 0; pair < 0x10000; ++pair) {
            const char bytes[] = {static_cast<char>(pair >> 8), static_cast<char>(pair & 0xff), 'x'};
            json.value(std::string_view(bytes, sizeof(bytes)));
        }
        json.endArray();
    });
    const auto texts = nlohmann::json::parse(shown);
    ASSERT_EQ(0x10000u, texts.size());
    for (const auto& text : texts)
        ASSERT_THAT(text.get<std::string>(), EndsWith("x"));
}

TEST(JsonWriter, emptyContainersAndOneLineOnes)
{
    EXPECT_EQ("{\n  \"a\": [],\n  \"b\": {},\n  \"c\": [1, [2, 3]]\n}\n", written([](JsonWriter& json) {
                  json.beginObject();
                  json.key("a");
                  json.beginArray();
                  json.endArray();
                  json.key("b");
                  json.beginObject();
                  json.endObject();
                  json.key("c");
                  json.beginArray(JsonWriter::OneLine);
                  json.value(1);
                  json.beginArray();
                  json.value(2);
                  json.value(3);
                  json.endArray();
                  json.endArray();
                  json.endObject();
                  json.finish();
              }));
}

TEST(JsonWriter, nestingCostsLinearSpace)
{
    const unsigned int levels = 100000;
    const std::string deep = written([](JsonWriter& json) {
        for (unsigned int i = 0; i < levels; ++i)
            json.beginArray();
        for (unsigned int i = 0; i < levels; ++i)
            json.endArray();
    });
    EXPECT_TRUE(nlohmann::json::accept(deep));
    EXPECT_LT(deep.size(), levels * 200u);
}

TEST(Printable, hidesWhatATerminalObeys)
{
    EXPECT_EQ("a\\x1b[2J", zyscene::printable("a\033[2J"));
    EXPECT_EQ("\\x9b", zyscene::printable("\xc2\x9b"));
    EXPECT_EQ("T\xc3\xbcr", zyscene::printable("T\xc3\xbcr"));
    EXPECT_EQ("\xef\xbf\xbdx", zyscene::printable("\xffx"));
}

// -- Progress ----------------------------------------------------------------------------------------

TEST(ProgressRecord, foldsEqualNeighbours)
{
    zyscene::ProgressRecord record;
    for (std::uint32_t percent : {0u, 0u, 5u, 5u, 5u, 0u})
        record.add(percent);
    ASSERT_EQ(3u, record.runs().size());
    EXPECT_EQ(0u, record.runs()[0].percent);
    EXPECT_EQ(2u, record.runs()[0].times);
    EXPECT_EQ(3u, record.runs()[1].times);
    EXPECT_EQ(1u, record.runs()[2].times);
}

// What a bar writes that is updated every few milliseconds.
std::string barOf(std::chrono::milliseconds duration, zyscene::When when)
{
    const TemporaryFolder folder;
    const pid_t child = ::fork(); // the console takes over the standard descriptors of its process
    if (child == 0) {
        ::dup2(::open((folder / "err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        {
            zyscene::Console console;
            zyscene::ConsoleOptions options;
            options.progress = when;
            console.configure(options);
            zyscene::ProgressBar bar(console, "reading a.ka");
            const auto start = std::chrono::steady_clock::now();
            for (auto passed = start - start; passed < duration;
                 passed = std::chrono::steady_clock::now() - start) {
                bar.update(static_cast<std::uint32_t>(100 * passed / duration));
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return readFile(folder / "err");
}

TEST(ProgressBar, staysAwayFromWorkOfHalfASecond)
{
    EXPECT_EQ("", barOf(std::chrono::milliseconds(450), zyscene::When::Always));
}

TEST(ProgressBar, isRedrawnAtMostTenTimesASecondAndErased)
{
    const std::string text = barOf(std::chrono::milliseconds(1100), zyscene::When::Always);
    EXPECT_THAT(text, HasSubstr("reading a.ka [###"));
    EXPECT_THAT(text, EndsWith("\r\033[K"));
    std::size_t drawn = 0;
    for (std::size_t at = 0; (at = text.find("reading", at)) != std::string::npos; ++at)
        ++drawn;
    EXPECT_GE(drawn, 2u);
    EXPECT_LE(drawn, 7u); // six tenths of a second and the first one
}

TEST(ProgressBar, isOnlyForTerminals)
{
    EXPECT_EQ("", barOf(std::chrono::milliseconds(700), zyscene::When::Auto));
    EXPECT_EQ("", barOf(std::chrono::milliseconds(700), zyscene::When::Never));
}
} // namespace
