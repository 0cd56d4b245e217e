#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/ioparams.h"
#include "io/stream.h"

class TIEBitmap;
struct TProgressRec;

using TIEReadImageStream = void (*)(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams,
                                    TProgressRec& Progress, bool Preview);
using TIEWriteImageStream = void (*)(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams,
                                     TProgressRec& Progress);
// Content test; the caller puts the stream's position back.
using TIETryImageStream = bool (*)(TIEStream& Stream);
using TIECountImageStream = int32_t (*)(TIEStream& Stream);

// One row of the format registry.
struct TIEFileFormatInfo {
    TIOFileType FileType = 0;
    std::string FullName;
    // In capitals without a point, separated by ";".
    std::string Extensions;
    // True for the rows the engine registers itself.
    bool InternalFormat = false;
    // Nullptr where the format can't be read or written. The engine's own rows carry
    // placeholders that only mark the capability: the front end dispatches by code.
    TIEReadImageStream ReadFunction = nullptr;
    TIEWriteImageStream WriteFunction = nullptr;
    TIETryImageStream TryFunction = nullptr;
    // Nullptr for single-image formats.
    TIECountImageStream CountFunction = nullptr;

    // The first of Extensions, empty if there is none.
    std::string SuitableExtension() const;
};

// The registered formats in registration order; the engine's rows first, in their
// fixed order. Rows are registered on the main thread before any detection runs.
class TIEFileFormatList {
  public:
    TIEFileFormatList();
    TIEFileFormatList(const TIEFileFormatList&) = delete;
    TIEFileFormatList& operator=(const TIEFileFormatList&) = delete;

    int32_t Count() const { return int32_t(fFormats.size()); }
    // Nullptr for an index out of range.
    const TIEFileFormatInfo* GetFileFormat(int32_t Index) const;
    // Added only if it has a read or a write function; false otherwise.
    bool RegisterFormat(const TIEFileFormatInfo& Format);

  private:
    // Rows keep their addresses while others are added.
    std::vector<std::unique_ptr<TIEFileFormatInfo>> fFormats;
};

// The process-wide list.
TIEFileFormatList& IEFileFormats();

// The row of a code, or nullptr.
const TIEFileFormatInfo* FindFileFormat(TIOFileType FileType);
// The row of an extension ("jpg" or ".JPG"), or nullptr for an empty or unknown one.
const TIEFileFormatInfo* FindFileFormatByExt(const std::string& Ext);
// The extension of a file name with its point, as the last point of the last path
// segment gives it: "a/b.tar.gz" gives ".gz", "a/.png" gives ".png", "a.b/c" nothing.
std::string IEExtractFileExt(const std::string& FileName);

// Format of the stream's content from its position on, 0 if no test recognises it.
// The position comes back in every case.
TIOFileType FindStreamFormat(TIEStream& Stream);

// Joins content and extension. VerifyMode 0 trusts content; 1 wants content and
// extension to agree; 2 lets the extension decide only where content says nothing.
// 0 for an empty name or a file that doesn't exist.
TIOFileType FindFileFormat(const std::string& FileName, int VerifyMode);
