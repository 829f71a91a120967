#include "SensorFile.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "KSFile.h"
#include "SensorPaths.h"
#include "base/SharedWord.h"
#include "config/ConfigUnit.h"
#include "diag/SensorTrace.h"

using config::kSensorFile;
using sensorpaths::kVersionFile;

namespace {

constexpr unsigned char kReplace = KSFile::modeWrite | KSFile::modeTruncate;
constexpr INT64 kLengthMax = INT_MAX;  // the largest count that KSFile can return

// contract: only the low 32 bits of a length are read or written
unsigned int lowWord(INT64 length)
{
    return static_cast<unsigned int>(length);
}

// Room for records while a file is read or written: the records themselves may be in use by other threads.
class RecordBytes
{
public:
    explicit RecordBytes(u32 count) : m_nSize(static_cast<INT64>(sizeof(KeyVal)) * count)
    {
        if (m_nSize <= kLengthMax)
        {
            m_pBytes.reset(new (std::nothrow) char[m_nSize]);
        }
    }

    // Copies the records' words, each one whole.
    void take(const KeyVal* records)
    {
        for (INT64 i = 0; m_pBytes != nullptr && i < count(); ++i)
        {
            const KeyVal record = {base::sharedLoad(records[i].key), base::sharedLoad(records[i].value)};
            std::memcpy(&m_pBytes[i * sizeof(KeyVal)], &record, sizeof record);
        }
    }

    // Stores every word of which the first length bytes hold at least a part.
    void give(KeyVal* records, INT64 length) const
    {
        for (INT64 i = 0; i * static_cast<INT64>(sizeof(KeyVal)) < length; ++i)
        {
            KeyVal record;
            std::memcpy(&record, &m_pBytes[i * sizeof(KeyVal)], sizeof record);
            base::sharedStore(records[i].key, record.key);
            if (i * static_cast<INT64>(sizeof(KeyVal)) + static_cast<INT64>(sizeof(u32)) < length)
            {
                base::sharedStore(records[i].value, record.value);
            }
        }
    }

    // -1 when there is no room for that many records.
    int readFrom(KSFile& file)
    {
        return m_pBytes == nullptr ? -1 : file.read(m_pBytes.get(), static_cast<unsigned int>(m_nSize));
    }

    int writeTo(KSFile& file) const
    {
        return m_pBytes == nullptr ? -1 : file.write(m_pBytes.get(), static_cast<unsigned int>(m_nSize));
    }

    INT64 size() const { return m_nSize; }

private:
    INT64 count() const { return m_nSize / static_cast<INT64>(sizeof(KeyVal)); }

    INT64 m_nSize;
    std::unique_ptr<char[]> m_pBytes;
};

}  // namespace

INT64 getFileLen(const char* file_name)
{
    KSFile file;
    diag::reportUnless(file.open(file_name, KSFile::modeRead), DIAG_PLACE_AT(kSensorFile, 19), "file.open(file_name)",
                       "file_name(%s)", file_name);  // contract: no line end
    return file.getLength();                         // contract: also asked of a file that is not open
}

int loadFromFile(const char* file_name, char* data, INT64 file_len)
{
    diag::trace(diag::Kind::debug, DIAG_PLACE_AT(kSensorFile, 27), "open file:%s\n", file_name);
    KSFile file;
    if (file_len < 0 || !file.open(file_name, KSFile::modeRead))
    {
        return -1;
    }
    const int nSize = file.read(data, lowWord(file_len));
    return nSize == file_len ? nSize : -1;
}

int saveToFile(char* file_name, char* data, INT64 file_len)
{
    KSFile file;
    int nSize = -1;
    if (file_len >= 0)
    {
        diag::reportUnless(file.open(file_name, kReplace), DIAG_PLACE_AT(kSensorFile, 40),
                           "file.open(file_name, KSFile::modeWrite | KSFile::modeTruncate)", "file_name(%s)\n",
                           file_name);
        nSize = file.write(data, lowWord(file_len));  // contract: goes on without an open file
    }
    // -1 is a failed write, even when file_len is -1 too.
    diag::reportUnless(nSize >= 0 && nSize == file_len, DIAG_PLACE_AT(kSensorFile, 41),
                       "file_len == (nSize=file.write(data, file_len))", "file_len(%d)\n", static_cast<int>(file_len));
    // Complete, but not yet in the old file's place.
    const bool isWritten = nSize >= 0 && static_cast<unsigned int>(nSize) == lowWord(file_len);
    if (isWritten &&
        !diag::reportUnless(file.close(), DIAG_PLACE(kSensorFile), "file.close()", "file_name(%s)\n", file_name))
    {
        return -1;
    }
    return nSize;
}

int keyValFromFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValNum)
{
    KSFile file;
    diag::reportUnless(file.open(file_name, KSFile::modeRead), DIAG_PLACE_AT(kSensorFile, 50), "file.open(file_name)",
                       "file_name(%s)\n", file_name);
    RecordBytes bytes(p_nKeyValNum);
    bytes.take(p_pKeyVal);
    const int nSize = bytes.readFrom(file);  // contract: goes on without an open file
    diag::reportUnless(nSize == bytes.size(), DIAG_PLACE_AT(kSensorFile, 54), "nSize == sizeof(KeyVal)*p_nKeyValNum",
                       "file_name(%s) nSize(%d) sizeof(KeyVal) = %d, p_nKeyValNum(%d)\n", file_name, nSize,
                       static_cast<int>(sizeof(KeyVal)), static_cast<int>(p_nKeyValNum));
    bytes.give(p_pKeyVal, nSize);
    return SNS_SUCCESS;  // contract: always success
}

int keyValToFile(char* file_name, KeyVal* p_pKeyVal, u32 p_nKeyValSum)
{
    KSFile file;
    diag::reportUnless(file.open(file_name, kReplace), DIAG_PLACE_AT(kSensorFile, 64),
                       "file.open(file_name, KSFile::modeWrite | KSFile::modeTruncate)", "file_name(%s)\n", file_name);
    RecordBytes bytes(p_nKeyValSum);
    bytes.take(p_pKeyVal);
    const int nSize = bytes.writeTo(file);  // contract: goes on without an open file
    // contract: the expression says Sum, the detail Num
    if (diag::reportUnless(nSize == bytes.size(), DIAG_PLACE_AT(kSensorFile, 68),
                           "nSize == sizeof(KeyVal)*p_nKeyValSum", "nSize(%d) sizeof(KeyVal) = %d, p_nKeyValNum(%d)\n",
                           nSize, static_cast<int>(sizeof(KeyVal)), static_cast<int>(p_nKeyValSum)))
    {
        diag::reportUnless(file.close(), DIAG_PLACE(kSensorFile), "file.close()", "file_name(%s)\n", file_name);
    }
    return SNS_SUCCESS;  // contract: always success
}

int getVersion(u32* p_pnVersion)
{
    char bytes[sizeof(u32)];
    // contract: a longer file is accepted
    if (loadFromFile(kVersionFile, bytes, sizeof bytes) < 1)
    {
        return -1;
    }
    std::memcpy(p_pnVersion, bytes, sizeof bytes);
    return 0;
}

int setVersion(u32 p_nVersion)
{
    std::string file_name = kVersionFile;
    return saveToFile(file_name.data(), reinterpret_cast<char*>(&p_nVersion), sizeof p_nVersion) < 1 ? -1 : 0;
}
