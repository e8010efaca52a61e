#pragma once

// What the benchmark programs have in common: the scenes as files in a temporary folder, and how a case is
// set up.

#include "scenes.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <initializer_list>
#include <string>

namespace bench
{

struct Files {
    std::string kb;
    std::string glb;
};

/// Writes a scene once, in both forms, into a folder of its own.
const Files& filesOf(const std::string& name, const std::function<Scene()>& make);
const Files& s1();
const Files& s2();
const Files& s3();

/// A path in the temporary folder.
std::string temporary(const std::string& name);

/// Five repetitions in real time.
void addCase(const char* name, const std::function<void(benchmark::State&)>& run);

/// growth/NAME/SIZE for each size: `run` is given the scene's file.
void addGrowth(const char* name, const std::function<Scene(size_t)>& make,
               std::initializer_list<size_t> sizes,
               const std::function<void(benchmark::State&, const std::string&)>& run);

/// Starts the libraries, registers the cases and runs them; the folder goes away afterwards. The program's
/// exit status.
int runBenchmarks(int argc, char** argv, const std::function<void()>& registerCases);

} // namespace bench
