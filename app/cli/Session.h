#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "app/EndSignals.h"
#include "app/Options.h"
#include "app/box/LibraryOutput.h"
#include "app/cli/Answer.h"
#include "camera/Camera.h"

namespace app {

struct Command;

// A running camera and the person or program that gives it commands. Host thread only.
class Session
{
public:
    // interactive: a person at a prompt, where an interrupt ends what runs and not the camera.
    Session(camera::Camera& camera, LibraryOutput& output, EndSignals& signals, bool json, bool interactive);

    // Runs one command line and prints its answer; an empty line does nothing. False when it failed,
    // also by an exception.
    bool run(const std::string& line);

    // The lines of exec, one after the other up to the first that fails. The exit status.
    int runAll(const std::vector<std::string>& lines);

    camera::Camera& camera() { return camera_; }
    LibraryOutput& output() { return output_; }
    EndSignals& signals() { return signals_; }
    bool json() const { return json_; }
    bool interactive() const { return interactive_; }

    // True after quit, after a signal that ends the program, and when nobody reads the answers any more.
    bool ended();
    void quit() { quit_ = true; }

    // Waits that span of real time, showing what the library prints. False when the person interrupted or the
    // program is to end.
    bool pause(std::chrono::microseconds span);

    // Prints a part of a longer answer at once.
    void printPart(const std::string& command, const Answer& part);

    // Bytes to where answers go.
    void print(const std::string& text);

private:
    Answer answerOf(const Command& command, const std::vector<std::string>& arguments);
    void printAnswer(const std::string& command, const Answer& answer);
    void showLibrary();

    camera::Camera& camera_;
    LibraryOutput& output_;
    EndSignals& signals_;
    const bool json_;
    const bool interactive_;
    bool quit_ = false;
    bool broken_ = false;  // answers can no longer be written
};

}  // namespace app
