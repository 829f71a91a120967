#pragma once

class VideoStreamModule;

/// Judges a port: the image-adjust service (ia_ioctrl), the host framework and, when told to, the documents that the
/// program is linked with and finds on its board.
///
/// The shape: an archive, linked as sensordll::portcheck, that sees only what a host may include. Its main() calls run,
/// so that a porter need not write a line; whoever has a video module to show writes a main() of their own, which then
/// takes the place of that one. A check is a sentence and a function that says what came instead of it. It runs on a
/// thread of its own, so that one that never returns is reported and left behind.
namespace portcheck {

/// Prints a line a check on standard output and the counts in the last line. argv: --help lists the options.
/// video: null for none. 0 when every check that was made has passed, 1 when one failed, 2 for wrong options.
/// Does not return but ends the process with 1 when a call of the port never came back or crashed.
int run(int argc, char** argv, VideoStreamModule* video = nullptr);

}  // namespace portcheck
