#pragma once

#include <cerrno>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "services/linux/NumberFile.h"

namespace support {

// Files of numbers, by device and name; what is not there gives ENOENT. It must outlive its files.
class ScriptedFiles
{
public:
    using Name = std::pair<devices::Role, std::string>;

    std::map<Name, double> numbers;
    std::map<Name, int> errors;
    std::set<Name> gone;  // the devices of those that are open

    devices::NumberFiles files()
    {
        return [this](devices::Role role, const std::string& name) {
            return std::make_unique<File>(*this, Name(role, name));
        };
    }

private:
    class File : public devices::NumberFile
    {
    public:
        File(ScriptedFiles& files, Name name) : files_(files), name_(std::move(name)) {}

        int read(double& value) override
        {
            const int error = errorNow();
            value = error == 0 ? files_.numbers[name_] : value;
            return error;
        }

        int write(std::int64_t value) override
        {
            const int error = errorNow();
            if (error == 0)
            {
                files_.numbers[name_] = static_cast<double>(value);
            }
            return error;
        }

        bool isThere() override { return files_.gone.count(name_) == 0; }

    private:
        int errorNow() const
        {
            const auto found = files_.errors.find(name_);
            return found != files_.errors.end() ? found->second : files_.numbers.count(name_) != 0 ? 0 : ENOENT;
        }

        ScriptedFiles& files_;
        const Name name_;
    };
};

}  // namespace support
