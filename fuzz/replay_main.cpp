#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/Inside.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

// The files named and those in the folders named, in order; what is not there holds no case.
std::vector<fs::path> casesIn(int argc, char** argv)
{
    std::vector<fs::path> cases;
    for (int i = 1; i < argc; ++i)
    {
        if (fs::is_regular_file(argv[i]))
        {
            cases.emplace_back(argv[i]);
        }
        else if (fs::is_directory(argv[i]))
        {
            cases.insert(cases.end(), fs::directory_iterator(argv[i]), fs::directory_iterator());
        }
    }
    std::sort(cases.begin(), cases.end());
    return cases;
}

std::vector<uint8_t> bytesOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace

// Runs a fuzz target on files, for builds without a fuzzer: replay <file or folder>...
int main(int argc, char** argv)
{
    fuzz::enterPrivateTree(argc, argv, false);
    const std::vector<fs::path> cases = casesIn(argc, argv);
    if (cases.empty())
    {
        std::fprintf(stderr, "there is no case to replay\n");
        return 1;
    }
    for (const fs::path& file : cases)
    {
        std::fprintf(stderr, "%s\n", file.c_str());  // who is the culprit when it crashes
        const std::vector<uint8_t> bytes = bytesOf(file);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::fprintf(stderr, "%zu cases\n", cases.size());
    return 0;
}
