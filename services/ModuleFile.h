#pragma once

// Modules that lie beside the program's libraries and are loaded when they are wanted.
namespace services {

// The entry of that name. file: below the folder of the libraries. The module stays loaded: something may still be in it.
// Throws std::runtime_error with the loader's reason. Thread-safe.
void* moduleEntry(const char* file, const char* entry);

}  // namespace services
