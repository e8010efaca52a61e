#pragma once

#include <string>
#include <vector>

/// What one run of zyscene gave.
struct Outcome {
    int exit = -1; ///< exit status; minus the signal's number when one ended the process
    std::string out;
    std::string err;
    double seconds = 0;          ///< from its start to its end
    unsigned long kilobytes = 0; ///< of memory at its peak, its own or a child's
};

/// Runs zyscene and waits for its end.
/// @param directory   current directory of the run; empty: the folder of the tests, where good/ and bad/ are
/// @param environment settings "NAME=value" beside those of this process
Outcome runZyscene(const std::vector<std::string>& arguments, const std::string& directory = "",
                   const std::vector<std::string>& environment = {});

/// Runs another program in the same way, as another user if that is not 0.
Outcome runProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const std::string& directory = "", const std::vector<std::string>& environment = {},
                   unsigned int user = 0);

/// Runs it with standard error (and only that) on a terminal. `err` is what the terminal got.
Outcome runZysceneOnTerminal(const std::vector<std::string>& arguments);

/// A folder of its own, removed at the end with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return _path; }
    std::string operator/(const std::string& name) const { return _path + "/" + name; }
    /// Names of what is in it, sorted.
    std::vector<std::string> names() const;

private:
    std::string _path;
};

/// The folder with good/, bad/ and golden/.
std::string testFolder();

/// Content of a file; the test fails when it cannot be read.
std::string readFile(const std::string& file);
void writeFile(const std::string& file, const std::string& content);
