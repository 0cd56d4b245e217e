#include "cli/imageprocess.h"

#include <charconv>
#include <cstdlib>
#include <functional>
#include <ostream>

#include "cli/imagetool.h"
#include "mview/imagerview.h"

namespace {

const char* const ProcessUsage =
    "Usage: pixelwright-cli image process IN OUT OP...\n"
    "  --resample W H FILTER          resample (a side of -1 follows the other)\n"
    "  --autosharp INTENSITY RATE     edge-guided sharpening\n"
    "  --blur RADIUS                  Gaussian blur\n"
    "  --merge FILE PCF               blend FILE in, keeping PCF per cent of the picture\n"
    "  --enhance GAMMA SATURATION     automatic enhancement\n"
    "  --graybalance                  gray world white balance\n"
    "  --gray                         convert to grey\n"
    "  --softshadow RADIUS OFFX OFFY  soft drop shadow\n";

bool ParseInt(const std::string& Text, int32_t& Value) {
    const char* end = Text.data() + Text.size();
    auto [at, error] = std::from_chars(Text.data(), end, Value);
    return !Text.empty() && error == std::errc() && at == end;
}

bool ParseReal(const std::string& Text, double& Value) {
    char* end = nullptr;
    Value = std::strtod(Text.c_str(), &end);
    return !Text.empty() && end == Text.c_str() + Text.size();
}

using TOperation = std::function<bool(TImagerView& Holder, std::ostream& Err)>;

// Reads one operation and its values at Arguments[i], advancing i past them.
bool ParseOperation(const std::vector<std::string>& Arguments, size_t& i, TOperation& Operation) {
    const std::string& name = Arguments[i];
    auto value = [&](size_t k) -> const std::string& { return Arguments[i + k]; };
    auto has = [&](size_t count) { return i + count < Arguments.size(); };
    int32_t a = 0, b = 0, c = 0;
    double x = 0, y = 0;
    if (name == "--resample" && has(3) && ParseInt(value(1), a) && ParseInt(value(2), b)) {
        TResampleFilter filter;
        if (!ParseResampleFilter(value(3), filter)) return false;
        Operation = [a, b, filter](TImagerView& Holder, std::ostream&) {
            Holder.Proc().Resample(a, b, filter, false);
            return true;
        };
        i += 3;
    } else if (name == "--autosharp" && has(2) && ParseInt(value(1), a) && ParseReal(value(2), x)) {
        Operation = [a, x](TImagerView& Holder, std::ostream&) {
            Holder.Proc().AutoSharp(a, x);
            return true;
        };
        i += 2;
    } else if (name == "--blur" && has(1) && ParseReal(value(1), x)) {
        Operation = [x](TImagerView& Holder, std::ostream&) {
            Holder.Proc().Blur(x);
            return true;
        };
        i += 1;
    } else if (name == "--merge" && has(2) && ParseInt(value(2), a)) {
        const std::string file = value(1);
        Operation = [file, a](TImagerView& Holder, std::ostream& Err) {
            TImagerView other;
            if (!LoadImageFile(other, file, Err)) return false;
            Holder.Proc().Merge(other.IEBitmap(), a);
            return true;
        };
        i += 2;
    } else if (name == "--enhance" && has(2) && ParseReal(value(1), x) && ParseInt(value(2), a)) {
        Operation = [x, a](TImagerView& Holder, std::ostream&) {
            Holder.Proc().AutoImageEnhance3(x, a);
            return true;
        };
        i += 2;
    } else if (name == "--graybalance") {
        Operation = [](TImagerView& Holder, std::ostream&) {
            Holder.Proc().WhiteBalance_GrayWorld();
            return true;
        };
    } else if (name == "--gray") {
        Operation = [](TImagerView& Holder, std::ostream&) {
            Holder.Proc().ConvertToGray();
            return true;
        };
    } else if (name == "--softshadow" && has(3) && ParseReal(value(1), y) && ParseInt(value(2), b) &&
               ParseInt(value(3), c)) {
        // The rest as the worker would ask: grown canvas, black, full intensity.
        Operation = [y, b, c](TImagerView& Holder, std::ostream&) {
            Holder.Proc().AddSoftShadow(y, b, c, true, clBlack, 100, 128);
            return true;
        };
        i += 3;
    } else {
        return false;
    }
    return true;
}

} // namespace

int RunImageProcess(const std::vector<std::string>& Arguments, std::ostream& Err) {
    // Arguments[0] is "process".
    if (Arguments.size() < 4) {
        Err << ProcessUsage;
        return 2;
    }
    std::vector<TOperation> operations;
    for (size_t i = 3; i < Arguments.size(); ++i) {
        TOperation operation;
        if (!ParseOperation(Arguments, i, operation)) {
            Err << "pixelwright-cli: bad operation \"" << Arguments[i] << "\"\n" << ProcessUsage;
            return 2;
        }
        operations.push_back(std::move(operation));
    }
    TImagerView holder;
    if (!LoadImageFile(holder, Arguments[1], Err)) return 1;
    try {
        for (const TOperation& operation : operations)
            if (!operation(holder, Err)) return 1;
    } catch (const std::exception& error) {
        Err << "pixelwright-cli: " << error.what() << "\n";
        return 1;
    }
    if (!WriteImageFile(holder, Arguments[2])) {
        Err << "pixelwright-cli: cannot write \"" << Arguments[2] << "\"\n";
        return 1;
    }
    return 0;
}
