// The calls of zyscene that the front page and that of the examples show work as they stand there.

#include "Program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace
{

std::string projectFolder()
{
    return testFolder() + "/../..";
}

/// The lines "zyscene ..." of a page's code blocks, without comments, as arguments. Without a section: of
/// all.
std::vector<std::vector<std::string>> callsOf(const std::string& file, const std::string& section)
{
    std::vector<std::vector<std::string>> calls;
    std::istringstream page(readFile(projectFolder() + "/" + file));
    bool inSection = section.empty();
    bool inBlock = false;
    for (std::string line; std::getline(page, line);) {
        if (line.compare(0, 3, "## ") == 0)
            inSection = section.empty() || line == section;
        else if (line.compare(0, 3, "```") == 0)
            inBlock = !inBlock;
        if (!inSection || !inBlock)
            continue;
        std::istringstream words(line.substr(0, line.find('#')));
        std::string program;
        if (!(words >> program) || program != "zyscene")
            continue;
        calls.emplace_back();
        for (std::string word; words >> word;)
            calls.back().push_back(word);
    }
    return calls;
}

void expectCallsToWork(const std::vector<std::vector<std::string>>& calls)
{
    const TemporaryFolder folder;
    std::filesystem::copy(projectFolder() + "/examples", folder / "examples",
                          std::filesystem::copy_options::recursive);
    for (const std::vector<std::string>& arguments : calls) {
        std::string call = "zyscene";
        for (const std::string& argument : arguments)
            call += " " + argument;
        const Outcome run = runZyscene(arguments, folder.path());
        EXPECT_EQ(0, run.exit) << call << "\n" << run.err;
        EXPECT_NE("", run.out) << call;
        const std::string& target = arguments.back();
        if (arguments[0] == "render") {
            EXPECT_GT(std::filesystem::file_size(folder / target), 1000u) << call;
        }
        if (arguments[0] != "convert") {
            EXPECT_EQ("", run.err) << call;
            continue;
        }
        // Not all of the examples can be exported.
        EXPECT_TRUE(run.err.empty() || run.err.find("zyscene: warning: " + target) == 0) << run.err;
        EXPECT_GT(std::filesystem::file_size(folder / target), 1000u) << call;
        EXPECT_EQ(0, runZyscene({"info", target}, folder.path()).exit) << call;
    }
}

TEST(Readme, callsWork)
{
    const auto calls = callsOf("README.md", "## zyscene");
    EXPECT_GE(calls.size(), 10u);
    expectCallsToWork(calls);
}

TEST(ExamplesReadme, callsWork)
{
    const auto calls = callsOf("examples/README.md", "");
    EXPECT_GE(calls.size(), 10u);
    expectCallsToWork(calls);
}

} // namespace
