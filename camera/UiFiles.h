#pragma once

#include <string>
#include <vector>

#include "SysConfig.h"

namespace camera {

struct Language
{
    int id;
    std::string code;  // "en"
    std::string name;  // in the language itself
    std::string textsFile;
    std::string commonFile;
};

// The user-interface texts that the host gives to the library. Host thread only.
class UiFiles
{
public:
    // Reads the index share/language/languages.xml. Throws Failure.
    explicit UiFiles(const std::string& share);
    UiFiles(const UiFiles&) = delete;
    UiFiles& operator=(const UiFiles&) = delete;

    const std::vector<Language>& languages() const { return languages_; }

    // Puts the texts of all languages into configuration, whose list must be empty: after init, and after a
    // factory reset. The library frees the texts; the list itself is this object's and must outlive uinit.
    // Throws Failure when a file cannot be read; the list then stays empty.
    void fill(SysConfig& configuration);

private:
    std::vector<Language> languages_;
    std::vector<UIFileEntry> entries_;
};

}  // namespace camera
