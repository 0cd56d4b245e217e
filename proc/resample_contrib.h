#pragma once

#include <cstdint>
#include <vector>

#include "proc/resample_rows.h"

// One tap: a source index and its weight in fixed point, 256 = 1.0.
struct TContributor {
    int32_t pixel;
    int32_t weight;
};

// The taps of one target index.
struct TCList {
    int32_t n;
    TContributor* p;
};

using PCListList = TCList*;

// A kernel of the table: the value at a signed distance, and the support radius.
struct TIEResampleKernel {
    double (*Fn)(double x);
    double Radius;
};

// rfTriangle .. rfLinear have a kernel; every other filter has none.
bool IEIsKernelFilter(TResampleFilter Filter);
const TIEResampleKernel& IEResampleKernel(TResampleFilter Filter);

// The contribution table of one axis.
//
// Two views of the same taps are kept. The TCList view is the table as the rules
// state it: source indices mirrored at the borders and clamped, zero weights dropped.
// The run view keeps, per target index, the unmirrored first index and a run of
// TapCount() weights padded with zeros; the passes use it over a source row that is
// extended by the mirror rule, so every target index becomes a dense dot product
// that the compiler can vectorise. Integer sums do not depend on order, so both
// views give the same pixels.
class TIEContributions {
  public:
    // The table for a kernel filter, SrcSize and DstSize at least 1.
    TIEContributions(int32_t SrcSize, int32_t DstSize, TResampleFilter Filter);
    // A table of given taps: Weights[i][k] applies to source index Left[i] + k before
    // mirroring. For checking the passes against hand-made tables.
    TIEContributions(int32_t SrcSize, const std::vector<int32_t>& Left,
                     const std::vector<std::vector<int32_t>>& Weights);

    int32_t SrcSize() const { return fSrcSize; }
    int32_t DstSize() const { return int32_t(fLeft.size()); }
    PCListList contrib() { return fLists.data(); }
    const TCList& List(int32_t i) const { return fLists[size_t(i)]; }
    // Sum of the weights of target index i, zero or not.
    int32_t WeightSum(int32_t i) const { return fWeightSum[size_t(i)]; }

    int32_t TapCount() const { return fTapCount; }
    int32_t Left(int32_t i) const { return fLeft[size_t(i)]; }
    const int32_t* LeftData() const { return fLeft.data(); }
    const int16_t* RunWeights(int32_t i) const { return fRunWeights.data() + size_t(i) * size_t(fTapCount); }
    // The span of unmirrored source indices that the runs touch, padding included.
    int32_t ExtLow() const { return fExtLow; }
    int32_t ExtHigh() const { return fExtHigh; }
    // The source index that an unmirrored index stands for.
    int32_t Mirror(int32_t j) const;

  private:
    void Pack(const std::vector<std::vector<int32_t>>& Weights);

    int32_t fSrcSize = 0;
    int32_t fTapCount = 0;
    int32_t fExtLow = 0;
    int32_t fExtHigh = 0;
    std::vector<int32_t> fLeft;
    std::vector<int16_t> fRunWeights;
    std::vector<int32_t> fWeightSum;
    std::vector<TCList> fLists;
    std::vector<TContributor> fPool;
};

// Threads of the horizontal pass: one for a file-backed source or one below MinSize
// pixels, else the smaller of MaxThreads and the physical core count.
int32_t IEResampleThreadsCount(int32_t Width, int32_t Height, bool FileBacked, int32_t MaxThreads,
                               int64_t MinSize, int32_t PhysicalCores);

// The contribution-table engine. Src and Dst must differ in size from each other only
// by what the tables describe; the caller has handled equal sizes and 1 x 1 sources.
// The 24-bit form reads and writes TRGB rows and runs its horizontal pass on
// ThreadsCount threads; the output does not depend on ThreadsCount.
void IEContributionResample24(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                              int32_t ThreadsCount, const TIEProgressEvent& OnProgress, void* Sender);
// One byte a pixel (ie8g and alpha planes), single-threaded.
void IEContributionResample8(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                             const TIEProgressEvent& OnProgress, void* Sender);
// One 16-bit word a pixel (ie16g), single-threaded.
void IEContributionResample16(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                              const TIEProgressEvent& OnProgress, void* Sender);
// ie1g source read as 0 or 255, grey written to all three channels of a TRGB row.
void IEContributionResample1To24(const TIERowImage& Src, const TIERowImage& Dst, TResampleFilter Filter,
                                 const TIEProgressEvent& OnProgress, void* Sender);

// The two passes of the 24-bit engine on given tables; Work is target width by source
// height, TRGB. The progress figures assume Work.Height() + Dst.Width() as the whole.
void IEContributionHorizontalPass24(const TIERowImage& Src, const TIEContributions& Table,
                                    const TIERowImage& Work, int32_t ThreadsCount,
                                    const TIEProgressEvent& OnProgress, void* Sender);
void IEContributionVerticalPass24(const TIERowImage& Work, const TIEContributions& Table,
                                  const TIERowImage& Dst, const TIEProgressEvent& OnProgress, void* Sender);
