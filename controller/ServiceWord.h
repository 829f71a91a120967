#pragma once

#include "ia_ioctrl.h"

// The data of a command whose number came from a caller. It is one word, but the number may belong to a command with a
// longer record: the service then reads zeroes after the word, and has room there for its answer.
class ServiceWord
{
public:
    explicit ServiceWord(u32 value) : m_aWords{value} {}

    void* data() { return m_aWords; }
    u32 value() const { return m_aWords[0]; }

private:
    // The longest record that a set or a get carries.
    u32 m_aWords[sizeof(ia_dynamic_params_cmds_st) / sizeof(u32)];

    static_assert(sizeof(m_aWords) >= kCameraVersionSize && sizeof(m_aWords) >= sizeof(ia_sensor_check_st) &&
                      sizeof(m_aWords) >= sizeof(dn_time_st),
                  "no record of a set or a get is longer");
};
