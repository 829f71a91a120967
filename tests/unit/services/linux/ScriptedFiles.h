#pragma once

#include <cerrno>
#include <map>
#include <memory>
#include <string>

#include "services/linux/NumberFile.h"

namespace support {

// Files of numbers, by path; what is not there gives ENOENT. It must outlive its files.
class ScriptedFiles
{
public:
    std::map<std::string, double> numbers;
    std::map<std::string, int> errors;

    devices::NumberFiles files()
    {
        return [this](const std::string& path) { return std::make_unique<File>(*this, path); };
    }

private:
    class File : public devices::NumberFile
    {
    public:
        File(ScriptedFiles& files, std::string path) : files_(files), path_(std::move(path)) {}

        int read(double& value) override
        {
            const int error = errorNow();
            value = error == 0 ? files_.numbers[path_] : value;
            return error;
        }

        int write(std::int64_t value) override
        {
            const int error = errorNow();
            if (error == 0)
            {
                files_.numbers[path_] = static_cast<double>(value);
            }
            return error;
        }

    private:
        int errorNow() const
        {
            const auto found = files_.errors.find(path_);
            return found != files_.errors.end() ? found->second : files_.numbers.count(path_) != 0 ? 0 : ENOENT;
        }

        ScriptedFiles& files_;
        const std::string path_;
    };
};

}  // namespace support
