// What goes to standard output and what to standard error.

#include "Program.h"
#include "Scenes.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <sys/wait.h>

using ::testing::HasSubstr;
using ::testing::Not;

namespace
{
const char* const scene = "good/two_meshes.ka";

int shellStatus(const std::string& redirections)
{
    const std::string command = "cd '" + testFolder() + "' && '" ZYSCENE_PROGRAM "' " + redirections;
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Streams, standardOutputIsOneDocumentAlthoughTheModulePrints)
{
    const Outcome run = runZyscene({"info", "--json", scene});
    const auto document = nlohmann::json::parse(run.out); // throws on anything behind it
    bool printed = false;
    for (const auto& message : document["results"][0]["messages"])
        printed = printed || (message["channel"] == "stdout" && message["text"] == "Unit scale = 1.000000");
    EXPECT_TRUE(printed);
    EXPECT_EQ("", run.err);
}

TEST(Streams, messagesOfAllChannelsKeepTheirOrder)
{
    const auto document = nlohmann::json::parse(runZyscene({"info", "--json", scene}).out);
    std::vector<std::string> messages;
    for (const auto& message : document["results"][0]["messages"])
        messages.push_back(message["channel"].get<std::string>() + " " + message["text"].get<std::string>());
    EXPECT_THAT(messages, ::testing::ElementsAre("log.info Kelda import: initializing kelda ...",
                                                 "log.info Kelda import: kelda initialized.",
                                                 "log.info Kelda import: reading 'two_meshes.ka' ...",
                                                 "log.info Kelda import: reading 'two_meshes.ka' ready.",
                                                 "stdout Unit scale = 1.000000",
                                                 "log.info Kelda import: validating geometry ...",
                                                 "log.info Kelda import: optimizing geometry ..."));
}

TEST(Streams, verboseShowsWhatWasSaidOnStandardError)
{
    const Outcome plain = runZyscene({"info", scene});
    const Outcome verbose = runZyscene({"info", "-v", scene});
    EXPECT_EQ(plain.out, verbose.out);
    EXPECT_THAT(verbose.err, HasSubstr("stdout: Unit scale = 1.000000\n"));
    EXPECT_THAT(verbose.err, HasSubstr("log.info: Kelda import: reading 'two_meshes.ka' ...\n"));
    EXPECT_EQ("", plain.err);
}

TEST(Streams, globalOptionsMayStandBeforeTheCommand)
{
    EXPECT_EQ(runZyscene({"info", "-v", "--json", scene}).out,
              runZyscene({"-v", "--json", "info", scene}).out);
}

TEST(Streams, errorsOfTheLogAreShownWithoutVerbose)
{
    const Outcome run = runZyscene({"info", "-q", "good/skipped_nodes.ka"});
    EXPECT_EQ(0, run.exit);
    EXPECT_THAT(run.err, HasSubstr("log.error: Could not convert 'viewShape', unknown type.\n"));
}

TEST(Streams, quietLeavesWarningsOut)
{
    EXPECT_THAT(runZyscene({"info", "good/dropped_primitives.ka"}).err, HasSubstr("warning"));
    const Outcome quiet = runZyscene({"info", "-q", "--json", "good/dropped_primitives.ka"});
    EXPECT_EQ("", quiet.err);
    EXPECT_EQ("primitives-dropped", nlohmann::json::parse(quiet.out)["issues"][0]["code"]);
}

TEST(Streams, resultThatCannotBeWrittenIsAFailure)
{
    EXPECT_EQ(1, shellStatus(std::string("info ") + scene + " > /dev/full 2> /dev/null"));
    EXPECT_EQ(1, shellStatus(std::string("info --json --arrays ") + scene + " > /dev/full 2> /dev/null"));
}

TEST(Streams, closedOnesAreNoHindrance)
{
    EXPECT_EQ(0, shellStatus(std::string("info ") + scene + " >&- 2>&-"));
    const TemporaryFolder folder;
    EXPECT_EQ(0,
              shellStatus(std::string("convert ") + scene + " '" + (folder / "car.osb") + "' >&- 2>&- <&-"));
    EXPECT_EQ(0, runZyscene({"info", folder / "car.osb"}).exit);
}

// -- Colours -----------------------------------------------------------------------------------------

TEST(Color, isForTerminalsUnlessAskedFor)
{
    EXPECT_THAT(runZyscene({"info", "--tree", scene}).out, Not(HasSubstr("\033[")));
    EXPECT_THAT(runZyscene({"info", "--tree", "--color", "always", scene}).out, HasSubstr("\033["));
    EXPECT_THAT(runZyscene({"info", "--tree", "--color", "always", scene}, "", {"NO_COLOR=1"}).out,
                HasSubstr("\033["));
}

TEST(Color, ofErrorsObeysNoColor)
{
    EXPECT_THAT(runZysceneOnTerminal({"info", "good/nosuch.ka"}).err, HasSubstr("\033[1;31merror"));
    EXPECT_THAT(runZysceneOnTerminal({"info", "--color", "never", "good/nosuch.ka"}).err,
                Not(HasSubstr("\033[")));
    ASSERT_EQ(0, ::setenv("NO_COLOR", "1", 1));
    EXPECT_THAT(runZysceneOnTerminal({"info", "good/nosuch.ka"}).err, Not(HasSubstr("\033[")));
    ::unsetenv("NO_COLOR");
}

// -- Progress ----------------------------------------------------------------------------------------

TEST(Progress, isNotShownForWorkThatIsSoonDone)
{
    const Outcome run = runZysceneOnTerminal({"info", "-q", "--color", "never", scene});
    EXPECT_EQ(0, run.exit);
    EXPECT_EQ("", run.err);
}
} // namespace
