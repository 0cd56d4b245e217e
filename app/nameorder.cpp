#include "app/nameorder.h"

#include <cstdint>

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

uint8_t FoldCase(char c) {
    return (c >= 'A' && c <= 'Z') ? uint8_t(c - 'A' + 'a') : uint8_t(c);
}

// Compares the digit runs that start at a[i] and b[j] by value and moves both past them.
// Leading zeros don't count, so the longer run of significant digits is the larger.
int CompareNumbers(const std::string& a, size_t& i, const std::string& b, size_t& j) {
    while (i < a.size() && a[i] == '0' && i + 1 < a.size() && IsDigit(a[i + 1]))
        ++i;
    while (j < b.size() && b[j] == '0' && j + 1 < b.size() && IsDigit(b[j + 1]))
        ++j;
    size_t endA = i, endB = j;
    while (endA < a.size() && IsDigit(a[endA]))
        ++endA;
    while (endB < b.size() && IsDigit(b[endB]))
        ++endB;
    int result = 0;
    if (endA - i != endB - j)
        result = endA - i < endB - j ? -1 : 1;
    else
        for (size_t k = 0; k < endA - i && result == 0; ++k)
            if (a[i + k] != b[j + k]) result = a[i + k] < b[j + k] ? -1 : 1;
    i = endA;
    j = endB;
    return result;
}

} // namespace

bool NameOrderLess(const std::string& A, const std::string& B) {
    size_t i = 0, j = 0;
    while (i < A.size() && j < B.size()) {
        if (IsDigit(A[i]) && IsDigit(B[j])) {
            if (int order = CompareNumbers(A, i, B, j)) return order < 0;
            continue;
        }
        const uint8_t a = FoldCase(A[i]), b = FoldCase(B[j]);
        if (a != b) return a < b;
        ++i;
        ++j;
    }
    if (i < A.size() || j < B.size()) return j < B.size();
    return A < B;
}
