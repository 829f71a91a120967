#pragma once

#include "tests/support/ControllerFixture.h"

namespace support {

// A camera whose files are laid out and whose controller is not yet up.
class StartUpFixture : public ControllerFixture
{
protected:
    using Probe = ControllerProbe;

    void SetUp() override
    {
        ControllerFixture::SetUp();
        writeCameraFiles(files_);
    }

    // init with the sensor thread stopped afterwards; the output of init.
    std::string initOutput()
    {
        CapturedOutput output;
        construct();
        EXPECT_TRUE(initialise());
        stopThread();
        return output.take();
    }

    u32 storedValue(int scheme, u32 key)
    {
        for (const KeyVal& record : recordsOf(readFile(schemeFile(scheme))))
        {
            if (record.key == key)
            {
                return record.value;
            }
        }
        ADD_FAILURE() << "no key " << key;
        return 0;
    }

    void useDevice(int type, const std::string& detail)
    {
        files_.deviceType = type;
        detail_ = detail;
        writeCameraFiles(files_);
    }
};

}  // namespace support
