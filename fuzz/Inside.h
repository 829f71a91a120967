#pragma once

namespace fuzz {

// Makes sure that the program runs inside a private file tree (tests/support/Sandbox.h) and that what the library
// prints goes nowhere. Outside it runs the program again inside and ends with its status. The files and folders that
// the arguments name are reachable inside: the first folder (a fuzzer's new finds), unless it is one of the seeds in
// the sources, and the place of -artifact_prefix= and -exact_artifact_path= for writing too. A program that
// writesArtifacts and is given neither writes into the current folder.
void enterPrivateTree(int argc, char** argv, bool writesArtifacts);

}  // namespace fuzz
