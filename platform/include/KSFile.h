#pragma once

#include <cstddef>
#include <string>

#include "sensorplatform_export.h"

typedef long long INT64;

/// One open file. Reentrant: one object, one thread at a time.
///
/// A file opened with modeTruncate is staged: it is written beside its target, as "<target>.new", and takes the
/// target's place at close, on the disk for good, if every write was complete. Until then, and after any failure,
/// a crash or a power cut, the target is the old file, whole; close names the one exception. Staged files left by a
/// crash are removed when the target is written next.
class SENSORPLATFORM_API KSFile
{
public:
    enum : unsigned char
    {
        modeRead = 0x01,
        modeWrite = 0x02,     ///< alone: in place, from the start; made when missing
        modeTruncate = 0x40,  ///< with modeWrite: the staged way above
    };

    KSFile() = default;

    /// Releases the file like close, but never puts a staged file in place: who leaves without close, by an
    /// early return or an exception, has not said that the contents are complete.
    ~KSFile();

    KSFile(const KSFile&) = delete;
    KSFile& operator=(const KSFile&) = delete;

    /// False if the file cannot be opened (missing, a directory, no such directory, no right) or the mode makes
    /// no sense; the object is then not open. An object that is open is released first, as by destruction.
    /// A staged file keeps the mode bits of the one it replaces; a new one has 0644 less the umask. A link is
    /// followed, also to a file that is yet to be made; anything but a regular file, such as a device, is written
    /// directly and not opened with modeRead alone: it may have no end.
    /// Staging needs a file system with flock. On one without, open is false: what a crash left could not be told from
    /// another writer's work.
    bool open(const char* path, unsigned char mode = modeRead);

    /// The bytes read, fewer than count only at the end of the file or where its disk fails; -1 on failure, when not
    /// open for reading, and for more than INT_MAX bytes. Up to 1 GiB in one system call: of a short text that
    /// somebody rewrites meanwhile the old bytes or the new, never some of both.
    int read(char* buffer, unsigned int count);

    /// The bytes written; fewer than count, or -1, on failure, when not open for writing, and for more than
    /// INT_MAX bytes. After an incomplete write a staged file is lost.
    int write(const char* data, unsigned int count);

    /// Bytes; of a staged file what has been written so far. 0 when not open.
    INT64 getLength() const;

    /// True when all that was written is in the file; for a staged one: in place and on the disk. False also when
    /// not open. After false the target is the old file, unless the very last step failed, bringing the directory
    /// to the disk: then the new file is in place, whole, and a power cut may bring the old one back.
    bool close();

    /// File descriptor, -1 when not open. It stays the object's.
    int getFileHandle() const;

    /// The next line without its "\n" or "\r\n"; the last one may lack it. A line longer than 64 KiB is cut and the
    /// last one. False, with an empty line, after the last line, on failure and when not open. Lines are read ahead:
    /// two of them may be of different contents if somebody rewrites the file.
    bool ReadOneLine(std::string& line);

    /// Whether there is anything at path. True also when that cannot be found out, on a disk that fails or in a
    /// folder that may not be searched: a caller that takes a file for missing would make it anew.
    static bool exists(const char* path);

private:
    bool openForTruncation(const char* path, int access);
    void dropReadAhead();
    bool fillBuffer();
    bool release(bool complete);

    int handle_ = -1;
    bool writeFailed_ = false;
    bool wasCut_ = false;  ///< A line was cut: ReadOneLine has no more.

    /// Empty unless staged.
    std::string target_;
    std::string staged_;

    /// Bytes that ReadOneLine read ahead.
    std::string buffer_;
    std::size_t bufferPosition_ = 0;
};
