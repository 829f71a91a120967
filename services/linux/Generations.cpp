#include "services/linux/Generations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>

#include "FactoryScheme.h"
#include "KeyVal.h"
#include "SensorPaths.h"
#include "XmlGuard.h"
#include "services/CommandNames.h"
#include "services/ControlFile.h"
#include "services/Descriptor.h"
#include "services/DiskFiles.h"
#include "services/linux/Documents.h"
#include "services/linux/Service.h"

namespace devices {
namespace {

namespace fs = std::filesystem;

constexpr char kLink[] = "current";
constexpr char kFolder[] = "generations";
constexpr char kDescriptionFile[] = "description";
constexpr char kMadeOfFile[] = "made-of";
constexpr std::string_view kLayoutVersion{"\x08\0\0\0", 4};  // of scheme files, as the library writes it
constexpr std::size_t kSettingsMax = 64 * 1024;              // bytes of a file with settings

// ---- files ---------------------------------------------------------------------------------------------------------

[[noreturn]] void fail(const std::string& what, int error)
{
    throw std::runtime_error("cannot " + what + ": " + std::strerror(error));
}

// The names in it are on the disk then.
void syncFolder(const std::string& path)
{
    if (!services::bringToDisk(path))
    {
        fail("bring " + path + " to the disk", errno);
    }
}

// The type of what has this name; 0 for nothing. Throws where that cannot be found out.
mode_t typeOf(const std::string& path)
{
    struct stat facts = {};
    if (lstat(path.c_str(), &facts) == 0)
    {
        return facts.st_mode & S_IFMT;
    }
    if (errno != ENOENT && errno != ENOTDIR)
    {
        fail("look at " + path, errno);
    }
    return 0;
}

// Not yet on the disk. A folder that is there will do, a link to one will not.
void makeFolder(const std::string& path)
{
    if (mkdir(path.c_str(), 0777) != 0 && (errno != EEXIST || typeOf(path) != S_IFDIR))
    {
        fail("make the folder " + path, errno);
    }
}

// And those on the way to it, from root on.
void makeFolders(const std::string& root, const std::string& path)
{
    for (std::size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at + 1))
    {
        makeFolder(root + "/" + path.substr(0, at));
    }
}

// Nothing where there is no plain file; a link is none, and what is longer than that many bytes is not ours. Throws where
// a disk fails: what cannot be read now is not gone.
std::optional<std::string> readFile(const std::string& path, std::size_t longest)
{
    const services::Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat facts = {};
    if (file.number() < 0 && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP || errno == ENXIO))
    {
        return std::nullopt;
    }
    if (file.number() < 0 || fstat(file.number(), &facts) != 0)
    {
        fail("read " + path, errno);
    }
    if (!S_ISREG(facts.st_mode) || static_cast<std::uintmax_t>(facts.st_size) > longest)
    {
        return std::nullopt;
    }
    std::string content(static_cast<std::size_t>(facts.st_size), '\0');
    const ssize_t got = read(file.number(), content.data(), content.size());
    if (got < 0)
    {
        fail("read " + path, errno);
    }
    return static_cast<std::size_t>(got) == content.size() ? std::make_optional(content) : std::nullopt;  // shorter now
}

// ---- the folders of a state ----------------------------------------------------------------------------------------

// 0 for what is no number of a generation.
int numberOf(std::string_view name)
{
    int number = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data(), end, number);
    return error == std::errc() && stop == end && number > 0 && std::to_string(number) == name ? number : 0;
}

std::string targetOf(int number)
{
    return std::string(kFolder) + "/" + std::to_string(number);
}

class Folders
{
public:
    explicit Folders(std::string state) : state_(std::move(state)) {}

    std::string link() const { return state_ + "/" + kLink; }
    std::string all() const { return state_ + "/" + kFolder; }
    std::string path(int number) const { return state_ + "/" + targetOf(number); }

    // What the link says; 0 without one.
    int linked() const
    {
        char target[64];
        const ssize_t length = readlink(link().c_str(), target, sizeof target);
        if (length < 0 && errno == ENOENT)
        {
            return 0;
        }
        const std::string_view text(target, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        const std::string_view start = "generations/";
        const int number = text.substr(0, start.size()) == start ? numberOf(text.substr(start.size())) : 0;
        if (number == 0)
        {
            throw std::runtime_error(link() +
                                     " does not lead to one of this camera's generations: somebody has put something "
                                     "else in its place. Move it away and start the camera again");
        }
        return number;
    }

    // Every name that is a number, in ascending order, whatever is behind it.
    std::set<int> numbers() const
    {
        std::set<int> found;
        if (typeOf(all()) == S_IFDIR)
        {
            for (const fs::directory_entry& entry : fs::directory_iterator(all()))
            {
                found.insert(numberOf(entry.path().filename().string()));
            }
        }
        found.erase(0);
        return found;
    }

    // Whatever has the name of its last file: damaged is not half built.
    bool isWhole(int number) const
    {
        return typeOf(path(number)) == S_IFDIR && typeOf(path(number) + "/" + kMadeOfFile) != 0;
    }

    std::vector<int> wholeOnes() const
    {
        std::vector<int> found;
        for (const int number : numbers())
        {
            if (isWhole(number))
            {
                found.push_back(number);
            }
        }
        return found;
    }

    // The one that the link means; where it means none that is whole, the newest one. 0 for none.
    int inForce() const
    {
        const int number = linked();
        if (number != 0 && isWhole(number))
        {
            return number;
        }
        const std::vector<int> whole = wholeOnes();
        return whole.empty() ? 0 : whole.back();
    }

    void make() const
    {
        makeFolder(all());
        syncFolder(state_);
    }

    // What an interrupted start has left. What cannot be removed harms nobody: its number is not used again.
    void removeHalfBuilt() const
    {
        for (const int number : numbers())
        {
            if (typeOf(path(number)) == S_IFDIR && !isWhole(number))
            {
                removeAll(number);
            }
        }
    }

    // A cut in between leaves one that counts as half built.
    void remove(int number) const
    {
        if (unlink((path(number) + "/" + kMadeOfFile).c_str()) == 0)
        {
            syncFolder(path(number));
            removeAll(number);
        }
    }

    void removeAll(int number) const
    {
        std::error_code error;
        fs::remove_all(path(number), error);
    }

    void putInForce(int number) const
    {
        const std::string staged = link() + ".new";
        if (unlink(staged.c_str()) != 0 && errno != ENOENT)
        {
            fail("remove " + staged, errno);
        }
        if (symlink(targetOf(number).c_str(), staged.c_str()) != 0)
        {
            fail("make the link " + staged, errno);
        }
        if (rename(staged.c_str(), link().c_str()) != 0)
        {
            const int error = errno;
            unlink(staged.c_str());
            fail("put " + path(number) + " in force", error);
        }
        syncFolder(state_);
    }

private:
    const std::string state_;
};

// ---- settings ------------------------------------------------------------------------------------------------------

using Words = std::map<int, int>;  // by key

// What a scheme file holds; nothing without a sound one.
std::optional<Words> savedIn(const std::string& folder, int scheme)
{
    const std::optional<std::string> bytes = readFile(folder + sensorpaths::schemeFile(scheme), kSettingsMax);
    if (!bytes || bytes->size() % sizeof(KeyVal) != 0)
    {
        return std::nullopt;
    }
    Words words;
    for (std::size_t at = 0; at < bytes->size(); at += sizeof(KeyVal))
    {
        KeyVal record;
        std::memcpy(&record, bytes->data() + at, sizeof record);
        words.emplace(static_cast<int>(record.key), static_cast<int>(record.value));
    }
    return words;
}

std::string bytesOf(const Documents& documents, const Words& words)
{
    std::string bytes;
    for (const DocumentParameter& parameter : documents.parameters)
    {
        const KeyVal record{static_cast<u32>(parameter.key), static_cast<u32>(words.at(parameter.key))};
        bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
    }
    return bytes;
}

// met: as the device was when it was met, which becomes scheme 0.
Words freshWords(const Documents& documents, const Board& board, int scheme, bool met)
{
    Words words;
    for (const DocumentParameter& parameter : documents.parameters)
    {
        words[parameter.key] = met && scheme == 0 ? parameter.first : parameter.allowed.defaultValue;
    }
    for (const KeyVal& change : factoryChanges(board.schemesByLight, scheme))
    {
        if (const auto found = words.find(static_cast<int>(change.key)); found != words.end())
        {
            found->second = static_cast<int>(change.value);
        }
    }
    return words;
}

Words carriedWords(const Documents& documents, const Board& board, int scheme, const Words& saved,
                   std::vector<std::string>& report)
{
    Words words = freshWords(documents, board, scheme, false);
    for (const DocumentParameter& parameter : documents.parameters)
    {
        const auto found = saved.find(parameter.key);
        if (found == saved.end())
        {
            continue;
        }
        const services::AllowedValues& allowed = parameter.allowed;
        int& word = words[parameter.key];
        if (allowed.contains(found->second))
        {
            word = found->second;
            continue;
        }
        // Of a choice there is no next one that means about the same.
        word = allowed.items.empty() ? allowed.nearest(found->second) : word;
        report.push_back("scheme " + std::to_string(scheme) + ": the device does not take " +
                         std::to_string(found->second) + " for " + parameter.name + " any more; it is " +
                         std::to_string(word) + " now");
    }
    return words;
}

// ---- one generation ------------------------------------------------------------------------------------------------

// What else than the device's controls the documents depend on.
std::string madeOf(const Board& board)
{
    return "documents " + std::to_string(kDocumentsVersion) + "\nschemes by light " +
           std::to_string(board.schemesByLight) + "\nlight sensor " + std::to_string(!board.light.empty()) +
           "\nmains " + std::to_string(board.mains) + "\n";
}

struct Kept
{
    Generation generation;
    std::string madeOf;
};

// Its description is empty where it cannot be read.
Kept keptIn(const Folders& folders, int number)
{
    Kept kept;
    kept.generation.number = number;
    kept.generation.folder = folders.path(number);
    kept.madeOf = readFile(kept.generation.folder + "/" + kMadeOfFile, kSettingsMax).value_or("");
    const std::optional<std::string> text =
        readFile(kept.generation.folder + "/" + kDescriptionFile, host::kXmlSizeMax);
    try
    {
        kept.generation.description = parseDescription(text.value_or(""));
    }
    catch (const std::runtime_error& error)
    {
        kept.generation.report.push_back(kept.generation.folder + ": " + error.what());
    }
    return kept;
}

// The one in force, where the link leads afterwards; nothing when there is none.
std::optional<Kept> keptInForce(const Folders& folders)
{
    const int number = folders.inForce();
    if (number == 0)
    {
        return std::nullopt;
    }
    Kept kept = keptIn(folders, number);
    if (folders.linked() != number)
    {
        folders.putInForce(number);
        kept.generation.report.push_back("what was in force is missing; generation " + std::to_string(number) +
                                         " takes its place");
    }
    return kept;
}

std::map<std::string, std::string> languagesIn(const std::string& share)
{
    const fs::path folder = fs::path(share) / "language";
    std::map<std::string, std::string> files;
    std::error_code error;
    for (fs::recursive_directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
    {
        if (at->path().extension() != ".xml")
        {
            continue;
        }
        const std::optional<std::string> content = readFile(at->path().string(), host::kXmlSizeMax);
        if (!content)
        {
            throw std::runtime_error(at->path().string() + " cannot be read, or is no document");
        }
        files[at->path().lexically_relative(folder).string()] = *content;
    }
    if (error || files.count("languages.xml") == 0)
    {
        throw std::runtime_error("the installed documents are not whole: there is no " +
                                 (folder / "languages.xml").string());
    }
    return files;
}

// All files but the one that says that it is whole, by path below its folder.
using Files = std::map<std::string, std::string>;

void addSettings(const Documents& documents, const Board& board, const std::optional<Kept>& old, Files& files,
                 std::vector<std::string>& report)
{
    const auto put = [&files](const std::string& path, const std::string& content) { files[path.substr(1)] = content; };
    for (int scheme = 0; scheme < kScheduledSchemes; ++scheme)
    {
        const std::optional<Words> saved = old ? savedIn(old->generation.folder, scheme) : std::nullopt;
        const Words words =
            saved ? carriedWords(documents, board, scheme, *saved, report) : freshWords(documents, board, scheme, !old);
        if (old && !saved)
        {
            report.push_back("scheme " + std::to_string(scheme) + ": no saved values; it has its factory values");
        }
        put(sensorpaths::schemeFile(scheme), bytesOf(documents, words));
        const std::string namedFile = services::controlFile(scheme);
        std::vector<std::string> leftOut;
        const services::ControlValues named = services::parseControls(
            old ? readFile(old->generation.folder + namedFile, services::kControlFileMax).value_or("") : "", leftOut);
        if (!named.empty())
        {
            put(namedFile, services::textOf(named));
        }
    }
    put(sensorpaths::kVersionFile, std::string(kLayoutVersion));
    if (const auto marker =
            old ? readFile(old->generation.folder + sensorpaths::kDebugMarkerFile, kSettingsMax) : std::nullopt)
    {
        put(sensorpaths::kDebugMarkerFile, *marker);
    }
}

// Keys that came and went, each once.
void compareKeys(const Documents& documents, const Kept& old, const std::vector<services::ParameterState>& oldStates,
                 std::vector<std::string>& report)
{
    const Words saved = savedIn(old.generation.folder, 0).value_or(Words());
    std::set<int> keys;
    for (const DocumentParameter& parameter : documents.parameters)
    {
        keys.insert(parameter.key);
        if (!saved.empty() && saved.count(parameter.key) == 0)
        {
            report.push_back(parameter.name + " is new; it has its factory value");
        }
    }
    for (const auto& [key, word] : saved)
    {
        if (keys.count(key) == 0)
        {
            const auto state = std::find_if(oldStates.begin(), oldStates.end(), [key = key](const auto& candidate) {
                return services::keyOfCommand(candidate.cmd) == static_cast<u32>(key);
            });
            report.push_back((state == oldStates.end() ? "key " + std::to_string(key) : state->name) +
                             " is gone; what was saved for it stays in generation " +
                             std::to_string(old.generation.number));
        }
    }
}

void syncFolders(const std::string& root)
{
    syncFolder(root);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root))
    {
        if (entry.is_directory())
        {
            syncFolder(entry.path().string());
        }
    }
}

void build(const Folders& folders, int number, const Files& files, const std::string& mark)
{
    const std::string root = folders.path(number);
    for (const char* folder : sensorpaths::kFolders)
    {
        makeFolders(root, std::string(folder + 1) + "/");
    }
    for (const auto& [path, content] : files)
    {
        makeFolders(root, path);
        if (!services::writeNewFile(root + "/" + path, content))
        {
            fail("write " + root + "/" + path, errno);
        }
    }
    syncFolders(root);
    const std::string last = root + "/" + kMadeOfFile;
    if (!services::replaceFile(last, mark))
    {
        fail("make " + last, errno);
    }
    syncFolder(folders.all());
}

void prune(const Folders& folders, int inForce)
{
    std::vector<int> old = folders.wholeOnes();
    old.erase(std::remove(old.begin(), old.end(), inForce), old.end());
    for (std::size_t i = 0; i + kOldGenerations < old.size(); ++i)
    {
        folders.remove(old[i]);
    }
}

std::string reasonFor(const Description& description, const Kept& old, const std::string& mark)
{
    return fingerprint(old.generation.description) != fingerprint(description) ? "the device has other controls"
           : old.madeOf.substr(0, old.madeOf.find('\n')) != mark.substr(0, mark.find('\n'))
               ? "this version makes other documents"
               : "the board says something else";
}

}  // namespace

Generation bringUp(const std::string& state, const std::string& share, const Description& description,
                   const Board& board)
{
    const Folders folders(state);
    const std::optional<Kept> old = keptInForce(folders);
    folders.make();
    folders.removeHalfBuilt();
    const std::string mark = madeOf(board);
    if (old && old->madeOf == mark && fingerprint(old->generation.description) == fingerprint(description))
    {
        return old->generation;
    }

    Generation made;
    const std::set<int> numbers = folders.numbers();
    made.number = numbers.empty() ? 1 : *numbers.rbegin() + 1;
    made.folder = folders.path(made.number);
    made.isNew = true;
    made.description = parseDescription(textOf(description));  // as it is kept
    const Documents documents = documentsOf(description, parametersOf(description, board), board, languagesIn(share));
    if (old)
    {
        made.report = old->generation.report;
        made.report.push_back("generation " + std::to_string(made.number) + " follows " +
                              std::to_string(old->generation.number) + ": " + reasonFor(description, *old, mark));
        compareKeys(documents, *old, parametersOf(old->generation.description, board), made.report);
    }
    else
    {
        made.report.push_back("generation 1: scheme 0 begins with what the device has now");
    }
    Files files = documents.files;
    addSettings(documents, board, old, files, made.report);
    files[kDescriptionFile] = textOf(description);
    if (mkdir(made.folder.c_str(), 0777) != 0)
    {
        fail("make the folder " + made.folder, errno);
    }
    try
    {
        build(folders, made.number, files, mark);
        folders.putInForce(made.number);
    }
    catch (...)
    {
        if (folders.linked() != made.number)
        {
            folders.removeAll(made.number);
        }
        throw;
    }
    try
    {
        prune(folders, made.number);
    }
    catch (const std::runtime_error& error)
    {
        made.report.push_back("old generations stay: " + std::string(error.what()));
    }
    return made;
}

std::optional<Generation> generationInForce(const std::string& state)
{
    const std::optional<Kept> kept = keptInForce(Folders(state));
    return kept ? std::optional<Generation>(kept->generation) : std::nullopt;
}

bool isMadeOf(const Generation& generation, const Board& board)
{
    return readFile(generation.folder + "/" + kMadeOfFile, kSettingsMax) == madeOf(board);
}

}  // namespace devices
