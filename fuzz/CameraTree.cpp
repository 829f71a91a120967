#include "fuzz/CameraTree.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/Require.h"

namespace fs = std::filesystem;

namespace fuzz {

void emptyCamera()
{
    fs::remove_all("/mnt/mtd");
    fs::remove_all(kModuleFolder);
    fs::remove_all(kMergedStyleFile);
    for (const char* folder : kFolders)
    {
        fs::create_directories(folder);
    }
}

void writeFile(const std::string& path, std::string_view bytes)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    FUZZ_REQUIRE(stream.good());
}

std::string readFile(const std::string& path)
{
    if (!fs::is_regular_file(path))
    {
        return {};
    }
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace fuzz
