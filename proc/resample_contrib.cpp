#include "proc/resample_contrib.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "proc/threadpool.h"

namespace {

constexpr double Pi = 3.14159265358979323846;

double TriangleKernel(double x) {
    const double a = std::fabs(x);
    return a < 1.0 ? 1.0 - a : 0.0;
}

double HermiteKernel(double x) {
    const double a = std::fabs(x);
    return a < 1.0 ? (2.0 * a - 3.0) * a * a + 1.0 : 0.0;
}

double BellKernel(double x) {
    const double a = std::fabs(x);
    if (a < 0.5) return 0.75 - a * a;
    if (a < 1.5) return (a - 1.5) * (a - 1.5) * 0.5;
    return 0.0;
}

double BSplineKernel(double x) {
    const double a = std::fabs(x);
    if (a < 1.0) return 0.5 * a * a * a - a * a + 2.0 / 3.0;
    if (a < 2.0) {
        const double t = 2.0 - a;
        return t * t * t / 6.0;
    }
    return 0.0;
}

double Sinc(double t) {
    if (t == 0.0) return 1.0;
    t *= Pi;
    return std::sin(t) / t;
}

double Lanczos3Kernel(double x) {
    const double a = std::fabs(x);
    return a < 3.0 ? Sinc(a) * Sinc(a / 3.0) : 0.0;
}

double MitchellKernel(double x) {
    const double a = std::fabs(x);
    if (a < 1.0) return (7.0 * a * a * a - 12.0 * a * a + 16.0 / 3.0) / 6.0;
    if (a < 2.0) return (-(7.0 / 3.0) * a * a * a + 12.0 * a * a - 20.0 * a + 32.0 / 3.0) / 6.0;
    return 0.0;
}

// Half-open on the signed distance, so that a tap exactly half-way belongs to one side.
double NearestKernel(double x) {
    return x > -0.5 && x <= 0.5 ? 1.0 : 0.0;
}

double LinearKernel(double x) {
    if (x >= -1.0 && x < 0.0) return x + 1.0;
    if (x >= 0.0 && x < 1.0) return 1.0 - x;
    return 0.0;
}

// Indexed by filter value less one. The box kernel scans a radius of 1.0, twice what
// it needs; that is kept, and it changes nothing but the range scanned.
const TIEResampleKernel KernelTable[] = {
    {TriangleKernel, 1.0}, {HermiteKernel, 1.0},  {BellKernel, 1.5},    {BSplineKernel, 2.0},
    {Lanczos3Kernel, 3.0}, {MitchellKernel, 2.0}, {NearestKernel, 1.0}, {LinearKernel, 1.0},
};

// Runs are padded to a multiple of this many taps so that the vectorised dot products
// need no scalar tail; 16 fills one AVX2 register of 16-bit lanes.
constexpr int32_t TapAlignment = 16;

} // namespace

bool IEIsKernelFilter(TResampleFilter Filter) {
    return Filter >= rfTriangle && Filter <= rfLinear;
}

const TIEResampleKernel& IEResampleKernel(TResampleFilter Filter) {
    if (!IEIsKernelFilter(Filter)) throw EIEException("Not a kernel filter");
    return KernelTable[Filter - 1];
}

TIEContributions::TIEContributions(int32_t SrcSize, int32_t DstSize, TResampleFilter Filter)
    : fSrcSize(SrcSize) {
    const TIEResampleKernel& kernel = IEResampleKernel(Filter);
    // Corners aligned: the first and last source pixels land on the first and last
    // target pixels.
    const double scale =
        SrcSize == 1 || DstSize == 1 ? double(DstSize) / SrcSize : double(DstSize - 1) / (SrcSize - 1);
    const bool enlarging = scale >= 1.0;
    const double width = enlarging ? kernel.Radius : kernel.Radius / scale;
    const double stretch = enlarging ? 1.0 : 1.0 / scale;
    std::vector<std::vector<int32_t>> weights(static_cast<size_t>(DstSize));
    fLeft.resize(size_t(DstSize));
    for (int32_t i = 0; i < DstSize; ++i) {
        const double center = i / scale;
        int32_t left = int32_t(std::floor(center - width));
        const int32_t right = int32_t(std::ceil(center + width));
        std::vector<int32_t>& run = weights[size_t(i)];
        run.reserve(size_t(right - left + 1));
        for (int32_t j = left; j <= right; ++j) {
            const double x = center - j;
            run.push_back(enlarging ? IERound(kernel.Fn(x) * 256.0)
                                    : IERound(kernel.Fn(x / stretch) * 256.0 / stretch));
        }
        // Zero taps at the ends carry nothing; trimming them keeps the runs short.
        size_t first = 0;
        while (first < run.size() && run[first] == 0)
            ++first;
        size_t last = run.size();
        while (last > first && run[last - 1] == 0)
            --last;
        run = std::vector<int32_t>(run.begin() + std::ptrdiff_t(first), run.begin() + std::ptrdiff_t(last));
        fLeft[size_t(i)] = left + int32_t(first);
    }
    Pack(weights);
}

TIEContributions::TIEContributions(int32_t SrcSize, const std::vector<int32_t>& Left,
                                   const std::vector<std::vector<int32_t>>& Weights)
    : fSrcSize(SrcSize), fLeft(Left) {
    Pack(Weights);
}

int32_t TIEContributions::Mirror(int32_t j) const {
    if (j < 0)
        j = -j;
    else if (j >= fSrcSize)
        j = 2 * fSrcSize - j - 1;
    return std::clamp(j, 0, fSrcSize - 1);
}

void TIEContributions::Pack(const std::vector<std::vector<int32_t>>& Weights) {
    const size_t count = fLeft.size();
    size_t longest = 1;
    size_t nonZero = 0;
    for (const auto& run : Weights) {
        longest = std::max(longest, run.size());
        for (int32_t w : run)
            nonZero += w != 0;
    }
    fTapCount = int32_t((longest + TapAlignment - 1) / TapAlignment * TapAlignment);
    fRunWeights.assign(count * size_t(fTapCount), 0);
    fWeightSum.assign(count, 0);
    fLists.resize(count);
    fPool.resize(nonZero);
    fExtLow = 0;
    fExtHigh = fSrcSize;
    size_t next = 0;
    for (size_t i = 0; i < count; ++i) {
        const auto& run = Weights[i];
        TCList& list = fLists[i];
        list.n = 0;
        list.p = fPool.data() + next;
        for (size_t k = 0; k < run.size(); ++k) {
            fRunWeights[i * size_t(fTapCount) + k] = int16_t(run[k]);
            fWeightSum[i] += run[k];
            if (run[k] == 0) continue;
            list.p[list.n++] = TContributor{Mirror(fLeft[i] + int32_t(k)), run[k]};
        }
        next += size_t(list.n);
        fExtLow = std::min(fExtLow, fLeft[i]);
        fExtHigh = std::max(fExtHigh, fLeft[i] + fTapCount);
    }
}

int32_t IEResampleThreadsCount(int32_t Width, int32_t Height, bool FileBacked, int32_t MaxThreads,
                               int64_t MinSize, int32_t PhysicalCores) {
    if (FileBacked || int64_t(Width) * Height < MinSize) return 1;
    return std::max(1, std::min(MaxThreads, PhysicalCores));
}

namespace {

// Trunc(Sum / Divisor) clamped to 0..Max. The quotient is taken in double precision
// so that the compiler can vectorise it: a correctly rounded quotient of two integers
// below 2^31 never crosses an integer it does not reach exactly, because its distance
// to the next integer is at least 1 / |Sum|, far above the rounding error, so the
// result equals the integer division of the fixed-point sum.
template <int32_t Max> inline int32_t DivideClamp(int32_t Sum, double Divisor) {
    double q = double(Sum) / Divisor;
    q = q < 0.0 ? 0.0 : q;
    q = q > double(Max) ? double(Max) : q;
    return int32_t(q);
}

// The hot loops. Cloned for AVX2 so that one binary uses the wide registers where the
// machine has them; the dot products compile to pmaddwd.
__attribute__((target_clones("avx2", "default"))) void
DotRuns3(const int16_t* Plane0, const int16_t* Plane1, const int16_t* Plane2, const int32_t* Left,
         const int16_t* Weights, const double* Divisors, int32_t Taps, int32_t Count, uint8_t* Out) {
    for (int32_t x = 0; x < Count; ++x) {
        const int16_t* w = Weights + size_t(x) * size_t(Taps);
        const int16_t* a = Plane0 + Left[x];
        const int16_t* b = Plane1 + Left[x];
        const int16_t* c = Plane2 + Left[x];
        int32_t s0 = 0, s1 = 0, s2 = 0;
        for (int32_t k = 0; k < Taps; ++k) {
            s0 += int32_t(a[k]) * w[k];
            s1 += int32_t(b[k]) * w[k];
            s2 += int32_t(c[k]) * w[k];
        }
        Out[3 * x] = uint8_t(DivideClamp<255>(s0, Divisors[x]));
        Out[3 * x + 1] = uint8_t(DivideClamp<255>(s1, Divisors[x]));
        Out[3 * x + 2] = uint8_t(DivideClamp<255>(s2, Divisors[x]));
    }
}

__attribute__((target_clones("avx2", "default"))) void DotRuns1(const int16_t* Plane, const int32_t* Left,
                                                                const int16_t* Weights,
                                                                const double* Divisors, int32_t Taps,
                                                                int32_t Count, uint8_t* Out) {
    for (int32_t x = 0; x < Count; ++x) {
        const int16_t* w = Weights + size_t(x) * size_t(Taps);
        const int16_t* a = Plane + Left[x];
        int32_t s = 0;
        for (int32_t k = 0; k < Taps; ++k)
            s += int32_t(a[k]) * w[k];
        Out[x] = uint8_t(DivideClamp<255>(s, Divisors[x]));
    }
}

void DotRuns1Wide(const int32_t* Plane, const int32_t* Left, const int16_t* Weights, const double* Divisors,
                  int32_t Taps, int32_t Count, uint16_t* Out) {
    for (int32_t x = 0; x < Count; ++x) {
        const int16_t* w = Weights + size_t(x) * size_t(Taps);
        const int32_t* a = Plane + Left[x];
        int32_t s = 0;
        for (int32_t k = 0; k < Taps; ++k)
            s += a[k] * w[k];
        Out[x] = uint16_t(DivideClamp<65535>(s, Divisors[x]));
    }
}

__attribute__((target_clones("avx2", "default"))) void SetRow8(int32_t* Acc, const uint8_t* Row,
                                                               int32_t Weight, int32_t Count) {
    for (int32_t i = 0; i < Count; ++i)
        Acc[i] = int32_t(Row[i]) * Weight;
}

__attribute__((target_clones("avx2", "default"))) void AddRow8(int32_t* Acc, const uint8_t* Row,
                                                               int32_t Weight, int32_t Count) {
    for (int32_t i = 0; i < Count; ++i)
        Acc[i] += int32_t(Row[i]) * Weight;
}

__attribute__((target_clones("avx2", "default"))) void DivideRow8(const int32_t* Acc, double Divisor,
                                                                  uint8_t* Out, int32_t Count) {
    for (int32_t i = 0; i < Count; ++i)
        Out[i] = uint8_t(DivideClamp<255>(Acc[i], Divisor));
}

void SetRow16(int32_t* Acc, const uint16_t* Row, int32_t Weight, int32_t Count) {
    for (int32_t i = 0; i < Count; ++i)
        Acc[i] = int32_t(Row[i]) * Weight;
}

void AddRow16(int32_t* Acc, const uint16_t* Row, int32_t Weight, int32_t Count) {
    for (int32_t i = 0; i < Count; ++i)
        Acc[i] += int32_t(Row[i]) * Weight;
}

void DivideRow16(const int32_t* Acc, double Divisor, uint16_t* Out, int32_t Count) {
    for (int32_t i = 0; i < Count; ++i)
        Out[i] = uint16_t(DivideClamp<65535>(Acc[i], Divisor));
}

// Formats of the passes: how a source row becomes planes of lanes, which sample the
// intermediate and the result hold, and how a result row is stored.
struct TFormat24 {
    using Lane = int16_t;
    using Sample = uint8_t;
    static constexpr int32_t Channels = 3;
    static void Unpack(const uint8_t* Row, int32_t Width, Lane* const* Planes) {
        for (int32_t x = 0; x < Width; ++x) {
            Planes[0][x] = Row[3 * x];
            Planes[1][x] = Row[3 * x + 1];
            Planes[2][x] = Row[3 * x + 2];
        }
    }
    static void Dot(Lane* const* Planes, const int32_t* Left, const int16_t* Weights, const double* Divisors,
                    int32_t Taps, int32_t Count, Sample* Out) {
        DotRuns3(Planes[0], Planes[1], Planes[2], Left, Weights, Divisors, Taps, Count, Out);
    }
    static void Store(const Sample* Values, int32_t Width, uint8_t* Row) {
        std::memcpy(Row, Values, size_t(Width) * 3);
    }
};

struct TFormat8 {
    using Lane = int16_t;
    using Sample = uint8_t;
    static constexpr int32_t Channels = 1;
    static void Unpack(const uint8_t* Row, int32_t Width, Lane* const* Planes) {
        for (int32_t x = 0; x < Width; ++x)
            Planes[0][x] = Row[x];
    }
    static void Dot(Lane* const* Planes, const int32_t* Left, const int16_t* Weights, const double* Divisors,
                    int32_t Taps, int32_t Count, Sample* Out) {
        DotRuns1(Planes[0], Left, Weights, Divisors, Taps, Count, Out);
    }
    static void Store(const Sample* Values, int32_t Width, uint8_t* Row) {
        std::memcpy(Row, Values, size_t(Width));
    }
};

struct TFormat1To24 : TFormat8 {
    static void Unpack(const uint8_t* Row, int32_t Width, Lane* const* Planes) {
        for (int32_t x = 0; x < Width; ++x)
            Planes[0][x] = (Row[x >> 3] & (0x80 >> (x & 7))) ? 255 : 0;
    }
    static void Store(const Sample* Values, int32_t Width, uint8_t* Row) {
        for (int32_t x = 0; x < Width; ++x)
            Row[3 * x] = Row[3 * x + 1] = Row[3 * x + 2] = Values[x];
    }
};

struct TFormat16 {
    using Lane = int32_t;
    using Sample = uint16_t;
    static constexpr int32_t Channels = 1;
    static void Unpack(const uint8_t* Row, int32_t Width, Lane* const* Planes) {
        for (int32_t x = 0; x < Width; ++x) {
            uint16_t v;
            std::memcpy(&v, Row + 2 * x, 2);
            Planes[0][x] = v;
        }
    }
    static void Dot(Lane* const* Planes, const int32_t* Left, const int16_t* Weights, const double* Divisors,
                    int32_t Taps, int32_t Count, Sample* Out) {
        DotRuns1Wide(Planes[0], Left, Weights, Divisors, Taps, Count, Out);
    }
    static void Store(const Sample* Values, int32_t Width, uint8_t* Row) {
        std::memcpy(Row, Values, size_t(Width) * 2);
    }
};

inline void SetRow(int32_t* Acc, const uint8_t* Row, int32_t Weight, int32_t Count) {
    SetRow8(Acc, Row, Weight, Count);
}
inline void SetRow(int32_t* Acc, const uint16_t* Row, int32_t Weight, int32_t Count) {
    SetRow16(Acc, Row, Weight, Count);
}
inline void AddRow(int32_t* Acc, const uint8_t* Row, int32_t Weight, int32_t Count) {
    AddRow8(Acc, Row, Weight, Count);
}
inline void AddRow(int32_t* Acc, const uint16_t* Row, int32_t Weight, int32_t Count) {
    AddRow16(Acc, Row, Weight, Count);
}
inline void DivideRow(const int32_t* Acc, double Divisor, uint8_t* Out, int32_t Count) {
    DivideRow8(Acc, Divisor, Out, Count);
}
inline void DivideRow(const int32_t* Acc, double Divisor, uint16_t* Out, int32_t Count) {
    DivideRow16(Acc, Divisor, Out, Count);
}

// What all horizontal workers of one call share. Besides the job of each band it
// carries what is prepared once per call: the source row addresses when several
// threads read them, runs relative to the extended row, divisors, and the border
// positions of the extended row with the source index each stands for.
struct TResampleHorizSharedFields {
    int32_t ThreadsCount = 1;
    int32_t DstWidth = 0;
    const TIEContributions* contrib = nullptr;
    const TIERowImage* Src = nullptr;
    const TIERowImage* Work = nullptr;
    double per1 = 0.0;
    const TIEProgressEvent* OnProgress = nullptr;
    void* Sender = nullptr;

    const std::vector<const uint8_t*>* SrcRows = nullptr;
    const std::vector<int32_t>* RelativeLeft = nullptr;
    const std::vector<double>* Divisors = nullptr;
    const std::vector<std::pair<int32_t, int32_t>>* Borders = nullptr;
};

template <class Format> class TResampleHorizThread : public TIEExecutor {
  public:
    TResampleHorizThread(bool useThread, int32_t startY_, int32_t rowCount_,
                         const TResampleHorizSharedFields& sharedFields_, int32_t threadIndex_)
        : TIEExecutor(useThread), sharedFields(sharedFields_), startY(startY_), rowCount(rowCount_),
          threadIndex(threadIndex_) {}

    void Execute() override {
        using Lane = typename Format::Lane;
        using Sample = typename Format::Sample;
        const TResampleHorizSharedFields& shared = sharedFields;
        const TIEContributions& table = *shared.contrib;
        const int32_t srcWidth = shared.Src->Width();
        const int32_t extLength = table.ExtHigh() - table.ExtLow();
        std::vector<Lane> storage(size_t(extLength) * Format::Channels);
        Lane* planes[Format::Channels];
        Lane* origins[Format::Channels];
        for (int32_t c = 0; c < Format::Channels; ++c) {
            planes[c] = storage.data() + size_t(c) * size_t(extLength);
            origins[c] = planes[c] - table.ExtLow();
        }
        for (int32_t y = startY; y < startY + rowCount; ++y) {
            const uint8_t* row = shared.SrcRows ? (*shared.SrcRows)[size_t(y)] : shared.Src->Row(y);
            if (!row) return;
            Format::Unpack(row, srcWidth, origins);
            for (const auto& [position, source] : *shared.Borders)
                for (int32_t c = 0; c < Format::Channels; ++c)
                    planes[c][position] = origins[c][source];
            Format::Dot(planes, shared.RelativeLeft->data(), table.RunWeights(0), shared.Divisors->data(),
                        table.TapCount(), shared.DstWidth, reinterpret_cast<Sample*>(shared.Work->Row(y)));
            if (threadIndex == 0 && *shared.OnProgress) {
                const int32_t per = IETrunc(shared.per1 * (double(y) * shared.ThreadsCount + 1));
                if (per != percentage) {
                    percentage = per;
                    (*shared.OnProgress)(shared.Sender, per);
                }
            }
        }
    }

  private:
    TResampleHorizSharedFields sharedFields;
    int32_t startY;
    int32_t rowCount;
    int32_t threadIndex;
    int32_t percentage = 0;
};

template <class Format>
void HorizontalPass(const TIERowImage& Src, const TIEContributions& Table, const TIERowImage& Work,
                    int32_t ThreadsCount, double per1, const TIEProgressEvent& OnProgress, void* Sender) {
    const int32_t srcHeight = Src.Height();
    ThreadsCount = std::max(1, ThreadsCount);
    std::vector<int32_t> relativeLeft(static_cast<size_t>(Table.DstSize()));
    std::vector<double> divisors(static_cast<size_t>(Table.DstSize()));
    for (int32_t i = 0; i < Table.DstSize(); ++i) {
        relativeLeft[size_t(i)] = Table.Left(i) - Table.ExtLow();
        divisors[size_t(i)] = Table.WeightSum(i) != 0 ? Table.WeightSum(i) : 256;
    }
    std::vector<std::pair<int32_t, int32_t>> borders;
    for (int32_t j = Table.ExtLow(); j < Table.ExtHigh(); ++j)
        if (j < 0 || j >= Table.SrcSize()) borders.emplace_back(j - Table.ExtLow(), Table.Mirror(j));
    // Several threads must not call a bitmap's row getter at once; the addresses are
    // stable because a file-backed source is never threaded.
    std::vector<const uint8_t*> srcRows;
    if (ThreadsCount > 1)
        for (int32_t y = 0; y < srcHeight; ++y) {
            srcRows.push_back(Src.Row(y));
            if (!srcRows.back()) return;
        }

    TResampleHorizSharedFields shared;
    shared.ThreadsCount = ThreadsCount;
    shared.DstWidth = Table.DstSize();
    shared.contrib = &Table;
    shared.Src = &Src;
    shared.Work = &Work;
    shared.per1 = per1;
    shared.OnProgress = &OnProgress;
    shared.Sender = Sender;
    shared.SrcRows = ThreadsCount > 1 ? &srcRows : nullptr;
    shared.RelativeLeft = &relativeLeft;
    shared.Divisors = &divisors;
    shared.Borders = &borders;

    const int32_t bandRows = srcHeight / ThreadsCount;
    TIEThreadPool pool;
    for (int32_t t = 0; t < ThreadsCount; ++t) {
        const int32_t startY = t * bandRows;
        const int32_t rowCount = t == ThreadsCount - 1 ? srcHeight - startY : bandRows;
        pool.Add(
            std::make_unique<TResampleHorizThread<Format>>(ThreadsCount > 1, startY, rowCount, shared, t));
    }
    pool.Join();
}

template <class Format>
void VerticalPass(const TIERowImage& Work, const TIEContributions& Table, const TIERowImage& Dst, double per1,
                  const TIEProgressEvent& OnProgress, void* Sender) {
    using Sample = typename Format::Sample;
    const int32_t count = Work.Width() * Format::Channels;
    std::vector<int32_t> acc(static_cast<size_t>(count));
    std::vector<Sample> values(static_cast<size_t>(count));
    TIEProgressReporter progress(OnProgress, Sender);
    for (int32_t i = 0; i < Table.DstSize(); ++i) {
        const TCList& list = Table.List(i);
        if (list.n == 0) std::fill(acc.begin(), acc.end(), 0);
        for (int32_t k = 0; k < list.n; ++k) {
            const Sample* row = reinterpret_cast<const Sample*>(Work.Row(list.p[k].pixel));
            if (k == 0)
                SetRow(acc.data(), row, list.p[k].weight, count);
            else
                AddRow(acc.data(), row, list.p[k].weight, count);
        }
        const int32_t sum = Table.WeightSum(i);
        if (sum != 0) {
            DivideRow(acc.data(), double(sum), values.data(), count);
        } else {
            // Unlike the horizontal pass, a zero sum shifts the unsigned word: a
            // negative sum turns into a large value and clamps to the top. Kept.
            constexpr uint32_t top = sizeof(Sample) == 1 ? 255 : 65535;
            for (int32_t b = 0; b < count; ++b)
                values[size_t(b)] = Sample(std::min(uint32_t(acc[size_t(b)]) >> 8, top));
        }
        uint8_t* target = Dst.Row(i);
        if (!target) return;
        Format::Store(values.data(), Work.Width(), target);
        progress.Report(IETrunc(per1 * (double(i) + Work.Height() + 1)));
    }
}

template <class Format>
void Resample(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter, int32_t ThreadsCount,
              const TIEProgressEvent& OnProgress, void* Sender) {
    if (Src.Empty() || Dst.Empty() || !IEIsKernelFilter(Filter)) return;
    using Sample = typename Format::Sample;
    const int64_t workRowLen = int64_t(Dst.Width()) * Format::Channels * int64_t(sizeof(Sample));
    // Every byte is written by the horizontal pass, so the buffer is not cleared first.
    const std::unique_ptr<uint8_t[]> workBits(new uint8_t[size_t(workRowLen) * size_t(Src.Height())]);
    const TIERowImage work(Dst.Width(), Src.Height(), workBits.get(), workRowLen);
    // Height and width mixed in one figure, kept so for the progress it reports; the sum need not
    // reach 100.
    const double per1 = 100.0 / (Src.Height() + Dst.Width() + 0.5);
    {
        const TIEContributions horizontal(Src.Width(), Dst.Width(), Filter);
        HorizontalPass<Format>(Src, horizontal, work, ThreadsCount, per1, OnProgress, Sender);
    }
    const TIEContributions vertical(Src.Height(), Dst.Height(), Filter);
    VerticalPass<Format>(work, vertical, Dst, per1, OnProgress, Sender);
}

} // namespace

void IEContributionResample24(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                              int32_t ThreadsCount, const TIEProgressEvent& OnProgress, void* Sender) {
    Resample<TFormat24>(Src, Dst, Filter, ThreadsCount, OnProgress, Sender);
}

void IEContributionResample8(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                             const TIEProgressEvent& OnProgress, void* Sender) {
    Resample<TFormat8>(Src, Dst, Filter, 1, OnProgress, Sender);
}

void IEContributionResample16(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                              const TIEProgressEvent& OnProgress, void* Sender) {
    Resample<TFormat16>(Src, Dst, Filter, 1, OnProgress, Sender);
}

void IEContributionResample1To24(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                                 const TIEProgressEvent& OnProgress, void* Sender) {
    Resample<TFormat1To24>(Src, Dst, Filter, 1, OnProgress, Sender);
}

void IEContributionHorizontalPass24(const TIERowImage& Src, const TIEContributions& Table,
                                    const TIERowImage& Work, int32_t ThreadsCount,
                                    const TIEProgressEvent& OnProgress, void* Sender) {
    HorizontalPass<TFormat24>(Src, Table, Work, ThreadsCount, 100.0 / (Work.Height() + Work.Width() + 0.5),
                              OnProgress, Sender);
}

void IEContributionVerticalPass24(const TIERowImage& Work, const TIEContributions& Table,
                                  const TIERowImage& Dst, const TIEProgressEvent& OnProgress, void* Sender) {
    VerticalPass<TFormat24>(Work, Table, Dst, 100.0 / (Work.Height() + Work.Width() + 0.5), OnProgress,
                            Sender);
}
