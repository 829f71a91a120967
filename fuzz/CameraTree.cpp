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
    fs::remove_all("/hd1/moduleConfig");
    fs::remove_all("/tmp/merge_style.xml");
    for (const char* folder :
         {"/mnt/mtd/code/config_file", "/mnt/mtd/code/factory_setting", "/mnt/mtd/sign", "/mnt/mtd/log",
          "/hd1/moduleConfig/sensorConfig/style", "/hd1/moduleConfig/sensorConfig/styleDiversity"})
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
