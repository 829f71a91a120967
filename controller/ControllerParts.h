#pragma once

#include "ISensorController.h"
#include "SchemeWindow.h"
#include "diag/SensorTrace.h"

// The parts of the operations that need the controller's members. place: whoever called, for traces and reports.
struct ISensorController::Parts
{
    // Null for an index without a scheme, and while there are no schemes.
    static KeyVal* recordsOf(const ISensorController& self, u32 scheme);
    static KeyVal* findRecord(const ISensorController& self, u32 scheme, u32 key);
    // All 0 for a scheme without such records.
    static SchemeWindow windowOf(const ISensorController& self, u32 scheme);

    static bool isAlreadyHeld(ISensorController& self, const KeyVal& record);
    // False if the handler failed. It may change record.value.
    static bool applyRecord(ISensorController& self, const diag::Place& place, u32 index, KeyVal& record);
    static void rememberRecord(ISensorController& self, const diag::Place& place, u32 index, const KeyVal& record);

    static void makeSchemes(ISensorController& self, const diag::Place& place);
    static void loadSchemeFiles(ISensorController& self);
    static void writeFactoryScheme(ISensorController& self, int scheme, char* file);

    static void turnOrdinary(ISensorController& self, const diag::Place& place, int scheme);
    static void turnScheduledLpr(ISensorController& self, const diag::Place& place, int scheme);
    static void turnDayNightLpr(ISensorController& self);
};
