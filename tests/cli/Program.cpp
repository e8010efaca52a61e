#include "Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// Reads both ends until they are closed: a child must never wait for us.
void readAll(int out, int err, Outcome& run)
{
    pollfd ends[] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
    std::string* const texts[] = {&run.out, &run.err};
    int open = 2;
    while (open > 0 && ::poll(ends, 2, -1) > 0) {
        for (int i = 0; i < 2; ++i) {
            if (ends[i].fd < 0 || ends[i].revents == 0)
                continue;
            char block[4096];
            const ssize_t count = ::read(ends[i].fd, block, sizeof(block));
            if (count > 0) {
                texts[i]->append(block, static_cast<std::size_t>(count));
            } else {
                ::close(ends[i].fd);
                ends[i].fd = -1;
                --open;
            }
        }
    }
}

Outcome start(const std::string& program, const std::vector<std::string>& arguments,
              const std::string& directory, const std::vector<std::string>& environment, unsigned int user,
              int errRead, int errWrite)
{
    Outcome run;
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe";
        return run;
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(errWrite, STDERR_FILENO);
        const int null = ::open("/dev/null", O_RDONLY);
        ::dup2(null, STDIN_FILENO);
        for (const std::string& setting : environment)
            ::putenv(const_cast<char*>(setting.c_str()));
        if (user != 0 && ::setuid(user) != 0)
            ::_exit(127);
        if (::chdir((directory.empty() ? testFolder() : directory).c_str()) == 0)
            ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(errWrite);
    readAll(out[0], errRead, run);
    int status = 0;
    rusage used = {};
    ::wait4(child, &status, 0, &used);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    run.kilobytes = static_cast<unsigned long>(used.ru_maxrss);
    run.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return run;
}
} // namespace

Outcome runProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const std::string& directory, const std::vector<std::string>& environment,
                   unsigned int user)
{
    int err[2];
    if (::pipe2(err, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe";
        return {};
    }
    return start(program, arguments, directory, environment, user, err[0], err[1]);
}

Outcome runZyscene(const std::vector<std::string>& arguments, const std::string& directory,
                   const std::vector<std::string>& environment)
{
    return runProgram(ZYSCENE_PROGRAM, arguments, directory, environment);
}

Outcome runZysceneOnTerminal(const std::vector<std::string>& arguments)
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) {
        ADD_FAILURE() << "no pseudo-terminal";
        return {};
    }
    const int slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    return start(ZYSCENE_PROGRAM, arguments, "", {}, 0, master, slave);
}

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zyscene-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        ADD_FAILURE() << "cannot make a folder";
    _path = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

std::vector<std::string> TemporaryFolder::names() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(_path))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string testFolder()
{
    return TEST_FOLDER;
}

std::string readFile(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in.good()) << "cannot read " << file;
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void writeFile(const std::string& file, const std::string& content)
{
    std::ofstream out(file, std::ios::binary);
    out << content;
    out.close();
    EXPECT_TRUE(out.good()) << "cannot write " << file;
}
