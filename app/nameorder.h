#pragma once

#include <string>

// The order in which a file manager lists names: runs of digits compare as numbers
// ("img2" before "img10"), letters without regard to case; names that only differ in
// case or in leading zeros still get a fixed order, by their bytes.
bool NameOrderLess(const std::string& A, const std::string& B);
