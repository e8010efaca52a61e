#include <zyUtils/zyLog.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

typedef std::vector<std::pair<zyLog::Level, std::string>> Messages;

// Collects what is logged; standard error stays quiet meanwhile.
class ZyLog : public testing::Test
{
protected:
    void SetUp() override
    {
        zyLog::setDefaultSinkEnabled(false);
        _sink = zyLog::addSink(
            [this](zyLog::Level level, const std::string& text) { _messages.emplace_back(level, text); });
    }

    void TearDown() override
    {
        zyLog::removeSink(_sink);
        zyLog::setLevel(zyLog::Info);
        zyLog::setDefaultSinkEnabled(true);
    }

    Messages _messages;
    unsigned int _sink = 0;
};

TEST_F(ZyLog, deliversTheTextExactlyAsFormatted)
{
    zyLog::info("Kelda import: reading '%s' ...", "car.kb");
    zyLog::warning("%d of %d\n", 3, 7);
    zyLog::error("%5.1f%%", 12.25);
    EXPECT_EQ((Messages{{zyLog::Info, "Kelda import: reading 'car.kb' ..."},
                        {zyLog::Warning, "3 of 7\n"},
                        {zyLog::Error, " 12.2%"}}),
              _messages);
}

TEST_F(ZyLog, longMessagesArriveWhole)
{
    for (const std::size_t length : {510u, 511u, 512u, 513u, 100000u}) {
        const std::string text(length, 'n');
        zyLog::error("%s", text.c_str());
        ASSERT_EQ(text, _messages.back().second);
    }
}

TEST_F(ZyLog, theLevelDropsWhatMattersLess)
{
    zyLog::setLevel(zyLog::Warning);
    EXPECT_EQ(zyLog::Warning, zyLog::getLevel());
    zyLog::info("i");
    zyLog::warning("w");
    zyLog::setLevel(zyLog::Error);
    zyLog::warning("w2");
    zyLog::error("e");
    EXPECT_EQ((Messages{{zyLog::Warning, "w"}, {zyLog::Error, "e"}}), _messages);
}

TEST_F(ZyLog, sinksAreServedInOrderUntilTheyAreRemoved)
{
    const unsigned int second = zyLog::addSink([this](zyLog::Level level, const std::string& text) {
        _messages.emplace_back(level, text + " again");
    });
    zyLog::info("a");
    EXPECT_TRUE(zyLog::removeSink(second));
    zyLog::info("b");
    EXPECT_EQ((Messages{{zyLog::Info, "a"}, {zyLog::Info, "a again"}, {zyLog::Info, "b"}}), _messages);
    EXPECT_FALSE(zyLog::removeSink(second));
    EXPECT_FALSE(zyLog::removeSink(0));
    EXPECT_EQ(0u, zyLog::addSink(zyLog::Sink()));
}

TEST_F(ZyLog, aSinkMayLogAndRemoveItself)
{
    unsigned int once = 0;
    once = zyLog::addSink([&once](zyLog::Level, const std::string&) {
        zyLog::removeSink(once);
        zyLog::info("from the sink");
    });
    zyLog::info("first");
    zyLog::info("second");
    EXPECT_EQ((Messages{{zyLog::Info, "first"}, {zyLog::Info, "from the sink"}, {zyLog::Info, "second"}}),
              _messages);
}

TEST_F(ZyLog, whatASinkHoldsMayLogWhenTheSinkGoes)
{
    {
        std::shared_ptr<int> held(new int(1), [](int* value) {
            delete value;
            zyLog::info("gone");
        });
        const unsigned int sink = zyLog::addSink([held](zyLog::Level, const std::string&) {});
        held.reset();
        EXPECT_TRUE(_messages.empty());
        zyLog::removeSink(sink);
    }
    EXPECT_EQ((Messages{{zyLog::Info, "gone"}}), _messages);
}

TEST_F(ZyLog, theDefaultSinkWritesLinesToStandardError)
{
    zyLog::setDefaultSinkEnabled(true);
    testing::internal::CaptureStderr();
    zyLog::info("plain");
    zyLog::warning("odd\n");
    zyLog::error("broken");
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(zyLog::setDefaultSinkEnabled(false));
    EXPECT_EQ("plain\nwarning: odd\nerror: broken\n", text);
}

TEST_F(ZyLog, threadsMayLogWhileSinksComeAndGo)
{
    zyLog::removeSink(_sink); // it is not made for several threads
    std::thread logger([] {
        for (int i = 0; i < 2000; ++i)
            zyLog::info("%d", i);
    });
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(zyLog::removeSink(zyLog::addSink([](zyLog::Level, const std::string&) {})));
    logger.join();
}
