#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// "pixelwright-cli image process IN OUT OP...": loads IN, applies the engine operations
// in the order given and writes OUT as "image resample" does (PNG for ".png", PNM
// otherwise). Arguments are those after "image". Exit status 0 on success, 1 when a file
// can't be loaded or written or an operation refuses its values, 2 on bad arguments.
int RunImageProcess(const std::vector<std::string>& Arguments, std::ostream& Err);
