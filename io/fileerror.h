#pragma once

#include <stdexcept>

// A file that can't be opened or created; passes to the caller of a load or save.
class EIEFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
