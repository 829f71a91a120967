#pragma once

#include <cstddef>
#include <string>

#include "sensorplatform_export.h"

/// A text log of bounded size. Any number of objects, threads and processes may write the same file: a record is
/// written whole and alone. Reentrant: one object, one thread at a time. Nothing here throws.
class SENSORPLATFORM_API KSLogger
{
public:
    /// path: the log; full logs become path.1, path.2 …, the oldest goes. maxSize: bytes of each file.
    /// count: files in all, the log included. False, and nothing can be written, for an empty path or a limit
    /// below 1. The file is opened by each record alone, so it may be moved or deleted at any time.
    bool init(const char* path, int maxSize, int count);

    /// One record: "2026-11-20 08:00:00 prefix text" and a line end, unless the text brings its own. The time is
    /// host::clock's. An empty text makes a record too; a record longer than maxSize is cut to it.
    /// A missing directory is made (one level). The record's bytes; -1 when it could not be written, and then
    /// nothing of it is in the file. While somebody keeps the log locked a record waits and is then lost; the next ones
    /// of this process are lost without a wait, until one finds the lock free. It writes a record before itself that
    /// counts them: "lost records: 3, the log was locked". A thread waits for logs 100 ms of real time in ten seconds.
    int writeLog(const char* prefix, const char* text);

private:
    struct Lock;

    static Lock& lockOf(const std::string& path);
    std::string makeRecord(const char* prefix, const char* text) const;
    bool tellOfLost(const char* prefix, Lock& lock) const;
    int append(const std::string& record, Lock& lock) const;
    int tryToAppend(const std::string& record, Lock& lock) const;
    bool rotate() const;
    std::string rotatedName(int number) const;

    std::string path_;
    std::size_t maxSize_ = 0;
    int count_ = 0;
};
