#pragma once

#include "SensorTypes.h"

// Whole text documents in malloc memory, which the caller frees. Reentrant.
namespace config {

// The length as it is, or -1 for one that no document has: negative, or above kXmlBytesMax. A host's file class
// may report anything.
INT64 textLength(INT64 fileLength);

// Replaces text by zeroed room for length bytes and a terminator; by an empty text for a negative length. False
// without memory: text is then empty, or null if it was null before.
bool makeRoom(char*& text, INT64 length);

// Reads length bytes into room made for at least as many. What loadFromFile returned; text is empty if that is
// -1. contract: a NUL in the file ends the text, and what follows it is not seen.
int readText(const char* fileName, char* text, INT64 length);

}  // namespace config
