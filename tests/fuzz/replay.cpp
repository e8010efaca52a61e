// Runs a fuzz target once on each file given, folders being searched for files: its corpus as an ordinary
// test, and a file that made it crash, in a debugger.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

int main(int argc, char** argv)
{
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            files.emplace_back(argv[i]);
            continue;
        }
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file())
                files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());

    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "cannot open %s\n", file.c_str());
            return 1;
        }
        const std::vector<char> content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        // A block of exactly this size: the address sanitizer sees every byte beyond.
        const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[content.size()]);
        std::copy(content.begin(), content.end(), exact.get());
        LLVMFuzzerTestOneInput(exact.get(), content.size());
    }
    std::printf("%zu inputs\n", files.size());
    // An empty corpus would pass whatever the target does.
    return files.empty() ? 1 : 0;
}
