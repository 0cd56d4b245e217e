#pragma once

#include <string>

// The folder of the running program, without a trailing separator. It comes from
// argument zero of the command line, not from the working directory; where argument
// zero names no folder (a program found on the PATH) the executable's own folder is used.
void SetProgramArgument0(const char* Argument0);
std::string ProgramFolder();
