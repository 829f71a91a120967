#pragma once

// Ways in which the disk below the library fails, for the whole test program.
namespace support {

// No file can be put on the disk for good while it lives.
class DiskFailure
{
public:
    DiskFailure();
    ~DiskFailure();
    DiskFailure(const DiskFailure&) = delete;
    DiskFailure& operator=(const DiskFailure&) = delete;
};

// Every file that is opened for reading seems to have this length while it lives.
class FileLengths
{
public:
    explicit FileLengths(long long length);
    ~FileLengths();
    FileLengths(const FileLengths&) = delete;
    FileLengths& operator=(const FileLengths&) = delete;
};

// The file seems to have so many bytes more at each look at its length while it lives, from none at all. One at a time.
class GrowingFile
{
public:
    GrowingFile(const char* path, long long bytes);
    ~GrowingFile();
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;
};

}  // namespace support
