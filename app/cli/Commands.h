#pragma once

#include <string>
#include <vector>

#include "app/cli/Answer.h"
#include "app/cli/Parsing.h"

namespace app {

class Session;

// One row of the command table.
struct Command
{
    const char* name;
    const char* usage;    // "set KEY=VALUE…"
    const char* summary;  // one line
    const char* details;  // lines for "help NAME"; may be empty
    Answer (*run)(Session& session, const Words& arguments);
    // Words that may stand next, after the arguments so far; null for none.
    Words (*complete)(Session& session, const Words& arguments);
    // Whether it is to change something, with these arguments; null where none of them do.
    bool (*changes)(const Words& arguments) = nullptr;
};

// In the order in which help lists them.
const std::vector<Command>& commands();

// Null when there is none of this name.
const Command* findCommand(const std::string& name);

// "usage: set KEY=VALUE…"
Answer wrongUsage(const char* commandName);

// ---- the functions of the table, by file -----------------------------------------------------------------

// CommandsValues.cpp
Answer runKeys(Session& session, const Words& arguments);
Answer runGet(Session& session, const Words& arguments);
Answer runAll(Session& session, const Words& arguments);
Answer runRestore(Session& session, const Words& arguments);
Words completeKeys(Session& session, const Words& arguments);
// Of the device, as they may be typed beside the keys.
Words controlNames(Session& session);

// CommandsSet.cpp
Answer runSet(Session& session, const Words& arguments);
Answer runDefault(Session& session, const Words& arguments);
Answer runText(Session& session, const Words& arguments);
Words completeAssignments(Session& session, const Words& arguments);

// CommandsFiles.cpp
Answer runSave(Session& session, const Words& arguments);
Answer runReload(Session& session, const Words& arguments);
Answer runReset(Session& session, const Words& arguments);
Answer runTrace(Session& session, const Words& arguments);
Answer runLog(Session& session, const Words& arguments);
Answer runOutput(Session& session, const Words& arguments);
Answer runStyle(Session& session, const Words& arguments);
Answer runLanguage(Session& session, const Words& arguments);

// CommandsSchemes.cpp
Answer runSchemes(Session& session, const Words& arguments);
Answer runWindow(Session& session, const Words& arguments);
Answer runScheme(Session& session, const Words& arguments);
Answer runMode(Session& session, const Words& arguments);
Words completeSchemes(Session& session, const Words& arguments);

// CommandsExplain.cpp
Answer runExplain(Session& session, const Words& arguments);

// CommandsDevice.cpp
Answer runDevice(Session& session, const Words& arguments);

// CommandsLens.cpp
Answer runLens(Session& session, const Words& arguments);

// CommandsScene.cpp
Answer runStatus(Session& session, const Words& arguments);
Answer runLight(Session& session, const Words& arguments);
Answer runWeather(Session& session, const Words& arguments);
Answer runTime(Session& session, const Words& arguments);
Answer runWatch(Session& session, const Words& arguments);

// CommandsPicture.cpp
Answer runSnapshot(Session& session, const Words& arguments);

// CommandTable.cpp
Answer runHelp(Session& session, const Words& arguments);
Answer runQuit(Session& session, const Words& arguments);

}  // namespace app
