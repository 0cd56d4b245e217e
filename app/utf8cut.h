#pragma once

#include <cstdint>
#include <string>

// Text cut to at most Size bytes, never inside a UTF-8 character: the cut moves back
// to the start of the character it would split.
inline std::string CutAtCharacter(const std::string& Text, size_t Size) {
    if (Text.size() <= Size) return Text;
    while (Size > 0 && (uint8_t(Text[Size]) & 0xC0) == 0x80)
        --Size;
    return Text.substr(0, Size);
}
