#include "io/codecs/tiff_ccitt.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// The run-length code words of ITU-T T.4, as the recommendation lists them. The decoding
// tables are made from these lists when first needed.
struct TCodeWord {
    int32_t Run;
    const char* Bits;
};

// Makeup codes from 1792 on are the same for both colours.
constexpr TCodeWord kExtendedMakeup[] = {
    {1792, "00000001000"},  {1856, "00000001100"},  {1920, "00000001101"},  {1984, "000000010010"},
    {2048, "000000010011"}, {2112, "000000010100"}, {2176, "000000010101"}, {2240, "000000010110"},
    {2304, "000000010111"}, {2368, "000000011100"}, {2432, "000000011101"}, {2496, "000000011110"},
    {2560, "000000011111"},
};

constexpr const char* kWhiteTerminating[64] = {
    "00110101", "000111",   "0111",     "1000",     "1011",     "1100",     "1110",     "1111",
    "10011",    "10100",    "00111",    "01000",    "001000",   "000011",   "110100",   "110101",
    "101010",   "101011",   "0100111",  "0001100",  "0001000",  "0010111",  "0000011",  "0000100",
    "0101000",  "0101011",  "0010011",  "0100100",  "0011000",  "00000010", "00000011", "00011010",
    "00011011", "00010010", "00010011", "00010100", "00010101", "00010110", "00010111", "00101000",
    "00101001", "00101010", "00101011", "00101100", "00101101", "00000100", "00000101", "00001010",
    "00001011", "01010010", "01010011", "01010100", "01010101", "00100100", "00100101", "01011000",
    "01011001", "01011010", "01011011", "01001010", "01001011", "00110010", "00110011", "00110100",
};

// Runs 64, 128, ... 1728.
constexpr const char* kWhiteMakeup[27] = {
    "11011",     "10010",     "010111",    "0110111",   "00110110",  "00110111",  "01100100",
    "01100101",  "01101000",  "01100111",  "011001100", "011001101", "011010010", "011010011",
    "011010100", "011010101", "011010110", "011010111", "011011000", "011011001", "011011010",
    "011011011", "010011000", "010011001", "010011010", "011000",    "010011011",
};

constexpr const char* kBlackTerminating[64] = {
    "0000110111",   "010",          "11",           "10",           "011",          "0011",
    "0010",         "00011",        "000101",       "000100",       "0000100",      "0000101",
    "0000111",      "00000100",     "00000111",     "000011000",    "0000010111",   "0000011000",
    "0000001000",   "00001100111",  "00001101000",  "00001101100",  "00000110111",  "00000101000",
    "00000010111",  "00000011000",  "000011001010", "000011001011", "000011001100", "000011001101",
    "000001101000", "000001101001", "000001101010", "000001101011", "000011010010", "000011010011",
    "000011010100", "000011010101", "000011010110", "000011010111", "000001101100", "000001101101",
    "000011011010", "000011011011", "000001010100", "000001010101", "000001010110", "000001010111",
    "000001100100", "000001100101", "000001010010", "000001010011", "000000100100", "000000110111",
    "000000111000", "000000100111", "000000101000", "000001011000", "000001011001", "000000101011",
    "000000101100", "000001011010", "000001100110", "000001100111",
};

constexpr const char* kBlackMakeup[27] = {
    "0000001111",    "000011001000",  "000011001001",  "000001011011",  "000000110011",  "000000110100",
    "000000110101",  "0000001101100", "0000001101101", "0000001001010", "0000001001011", "0000001001100",
    "0000001001101", "0000001110010", "0000001110011", "0000001110100", "0000001110101", "0000001110110",
    "0000001110111", "0000001010010", "0000001010011", "0000001010100", "0000001010101", "0000001011010",
    "0000001011011", "0000001100100", "0000001100101",
};

// The two-dimensional modes of T.4 and T.6.
enum TMode : int8_t { mPass, mHorizontal, mV0, mVR1, mVR2, mVR3, mVL1, mVL2, mVL3, mExtension, mInvalid };
constexpr TCodeWord kModes[] = {
    {mPass, "0001"},   {mHorizontal, "001"}, {mV0, "1"},       {mVR1, "011"},     {mVR2, "000011"},
    {mVR3, "0000011"}, {mVL1, "010"},        {mVL2, "000010"}, {mVL3, "0000010"}, {mExtension, "0000001"},
};

constexpr int32_t kPeekBits = 13;

// One entry per 13-bit prefix: the value of the code word it begins with and its length,
// length 0 where no code word begins so.
struct TEntry {
    int16_t Value = 0;
    int8_t Length = 0;
};
using TTable = std::array<TEntry, 1 << kPeekBits>;

void Enter(TTable& Table, int32_t Value, const char* Bits) {
    const int32_t length = int32_t(std::strlen(Bits));
    int32_t code = 0;
    for (int32_t i = 0; i < length; ++i)
        code = code << 1 | (Bits[i] == '1');
    const int32_t first = code << (kPeekBits - length);
    for (int32_t i = 0; i < (1 << (kPeekBits - length)); ++i)
        Table[size_t(first + i)] = TEntry{int16_t(Value), int8_t(length)};
}

TTable MakeRunTable(const char* const (&Terminating)[64], const char* const (&Makeup)[27]) {
    TTable table{};
    for (int32_t run = 0; run < 64; ++run)
        Enter(table, run, Terminating[run]);
    for (int32_t i = 0; i < 27; ++i)
        Enter(table, 64 * (i + 1), Makeup[i]);
    for (const TCodeWord& word : kExtendedMakeup)
        Enter(table, word.Run, word.Bits);
    return table;
}

const TTable& WhiteTable() {
    static const TTable table = MakeRunTable(kWhiteTerminating, kWhiteMakeup);
    return table;
}

const TTable& BlackTable() {
    static const TTable table = MakeRunTable(kBlackTerminating, kBlackMakeup);
    return table;
}

const TTable& ModeTable() {
    static const TTable table = [] {
        TTable t{};
        for (const TCodeWord& word : kModes)
            Enter(t, word.Run, word.Bits);
        return t;
    }();
    return table;
}

class TBitReader {
  public:
    explicit TBitReader(std::vector<uint8_t> Data) : fData(std::move(Data)) {}

    // The next Count bits (up to 25) without taking them, zeros past the end.
    uint32_t Peek(int32_t Count) {
        while (fBits < Count) {
            fBuffer = fBuffer << 8 | (fPos < fData.size() ? fData[fPos] : 0);
            ++fPos;
            fBits += 8;
        }
        return uint32_t(fBuffer >> (fBits - Count)) & ((1u << Count) - 1);
    }
    void Skip(int32_t Count) {
        Peek(Count);
        fBits -= Count;
    }
    bool AtEnd() const { return fPos * 8 - size_t(fBits) >= fData.size() * 8; }
    // Drops the bits up to the next byte boundary.
    void Align() { fBits -= fBits % 8; }

  private:
    std::vector<uint8_t> fData;
    size_t fPos = 0;
    uint64_t fBuffer = 0;
    int32_t fBits = 0;
};

class TFaxRows : public TIETiffRowDecoder {
  public:
    TFaxRows(int32_t Compression, std::vector<uint8_t> Data, int32_t Width, int64_t T4Options)
        : fBits(std::move(Data)), fWidth(Width), fCompression(Compression),
          fTwoDimensional(Compression == kTiffCompressionCCITTFax4 ||
                          (Compression == kTiffCompressionCCITTFax3 && (T4Options & 1))) {
        // The reference line of the first row is all white.
        fReference = {fWidth, fWidth};
    }

    bool NextRow(uint8_t* Row, size_t RowBytes) override {
        if (fFailed) return false;
        fChanges.clear();
        bool twoDimensional = fCompression == kTiffCompressionCCITTFax4;
        if (fCompression == kTiffCompressionCCITTRLE) {
            fBits.Align();
        } else if (fCompression == kTiffCompressionCCITTFax3) {
            const bool endOfLine = SkipEndOfLine();
            // In two-dimensional files each end of line is followed by the row's mode.
            if (fTwoDimensional && endOfLine) {
                twoDimensional = fBits.Peek(1) == 0;
                fBits.Skip(1);
            }
        }
        const bool decoded = twoDimensional ? DecodeTwoDimensional() : DecodeOneDimensional();
        Paint(Row, RowBytes);
        fReference = fChanges;
        fReference.push_back(fWidth);
        fReference.push_back(fWidth);
        if (!decoded) fFailed = true;
        return decoded;
    }

  private:
    // Zero bits (fill) before a code word of eleven zeros and a one.
    bool SkipEndOfLine() {
        int32_t zeros = 0;
        while (fBits.Peek(1) == 0 && zeros < 4096 && !fBits.AtEnd()) {
            fBits.Skip(1);
            ++zeros;
        }
        if (zeros >= 11 && fBits.Peek(1) == 1) {
            fBits.Skip(1);
            return true;
        }
        return false;
    }

    // One run of the colour: makeup codes up to a terminating one; -1 if undecodable.
    int32_t ReadRun(bool Black) {
        const TTable& table = Black ? BlackTable() : WhiteTable();
        int32_t run = 0;
        for (;;) {
            if (fBits.AtEnd()) return -1;
            const TEntry entry = table[fBits.Peek(kPeekBits)];
            if (entry.Length == 0) return -1;
            fBits.Skip(entry.Length);
            run += entry.Value;
            if (entry.Value < 64) return run;
            if (run > fWidth) return -1;
        }
    }

    void AddChange(int32_t Position) { fChanges.push_back(std::min(Position, fWidth)); }

    bool DecodeOneDimensional() {
        int32_t x = 0;
        bool black = false;
        while (x < fWidth) {
            const int32_t run = ReadRun(black);
            if (run < 0) return false;
            x += run;
            AddChange(x);
            black = !black;
        }
        // A row that ends on black still records where it ended.
        return true;
    }

    bool DecodeTwoDimensional() {
        int32_t a0 = -1;
        bool black = false;
        size_t b = 0;
        while (a0 < fWidth) {
            // b1: the first change on the reference line right of a0 to the other colour.
            while (b > 0 && fReference[b - 1] > a0)
                --b;
            while (b < fReference.size() - 2 && fReference[b] <= a0)
                ++b;
            if ((b & 1) != size_t(black)) ++b;
            const int32_t b1 = fReference[std::min(b, fReference.size() - 1)];
            const int32_t b2 = fReference[std::min(b + 1, fReference.size() - 1)];
            if (fBits.AtEnd()) return false;
            const TEntry mode = ModeTable()[fBits.Peek(kPeekBits)];
            if (mode.Length == 0 || mode.Value == mExtension) return false;
            fBits.Skip(mode.Length);
            const int32_t start = std::max(a0, 0);
            switch (mode.Value) {
            case mPass:
                // The colour goes on under b2 without a change.
                a0 = b2;
                break;
            case mHorizontal: {
                const int32_t first = ReadRun(black);
                const int32_t second = first < 0 ? -1 : ReadRun(!black);
                if (second < 0) return false;
                AddChange(start + first);
                AddChange(start + first + second);
                a0 = start + first + second;
                break;
            }
            default: {
                static constexpr int32_t kOffsets[] = {0, 0, 0, 1, 2, 3, -1, -2, -3};
                const int32_t a1 = b1 + kOffsets[mode.Value];
                if (a1 < start || a1 > fWidth) return false;
                AddChange(a1);
                a0 = a1;
                black = !black;
                break;
            }
            }
            if (a0 >= fWidth) break;
        }
        return true;
    }

    // Black between every other pair of changes.
    void Paint(uint8_t* Row, size_t RowBytes) const {
        std::memset(Row, 0, RowBytes);
        int32_t from = 0;
        for (size_t i = 0; i < fChanges.size(); ++i) {
            const int32_t to = std::min(fChanges[i], fWidth);
            if (i & 1)
                for (int32_t x = from; x < to && size_t(x / 8) < RowBytes; ++x)
                    Row[x / 8] |= uint8_t(0x80 >> (x % 8));
            from = std::max(from, to);
        }
    }

    TBitReader fBits;
    int32_t fWidth;
    int32_t fCompression;
    bool fTwoDimensional;
    bool fFailed = false;
    std::vector<int32_t> fReference;
    std::vector<int32_t> fChanges;
};

} // namespace

std::unique_ptr<TIETiffRowDecoder> IECreateTiffFaxDecoder(int32_t Compression, std::vector<uint8_t> Data,
                                                          int32_t Width, int64_t T4Options,
                                                          int32_t FillOrder) {
    if (Width <= 0) return nullptr;
    if (FillOrder == 2)
        for (uint8_t& byte : Data)
            byte = IEReverseBits(byte);
    return std::make_unique<TFaxRows>(Compression, std::move(Data), Width, T4Options);
}
