#include "image/settings.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::mutex& InstancesLock() {
    static std::mutex lock;
    return lock;
}

std::vector<TIEGlobalSettings*>& Instances() {
    static std::vector<TIEGlobalSettings*> list;
    return list;
}

} // namespace

int64_t DefMinFileSize = -1;
bool AutoFragmentBitmap = true;
bool AutoLocateOnDisk = true;
std::string TempPath;

TIEGlobalSettings::TIEGlobalSettings() {
    std::lock_guard<std::mutex> guard(InstancesLock());
    fAuthoritative = Instances().empty();
    Instances().push_back(this);
}

TIEGlobalSettings::~TIEGlobalSettings() {
    std::lock_guard<std::mutex> guard(InstancesLock());
    auto& list = Instances();
    list.erase(std::remove(list.begin(), list.end(), this), list.end());
    // The oldest survivor takes over, so forwarding never points at a freed instance.
    if (fAuthoritative && !list.empty()) {
        list.front()->fValues = fValues;
        list.front()->fAuthoritative = true;
    }
}

TIEGlobalSettings* TIEGlobalSettings::Authority() const {
    if (fAuthoritative) return const_cast<TIEGlobalSettings*>(this);
    return Instances().front();
}

bool TIEGlobalSettings::EnableCMS() const {
    return Authority()->fValues.EnableCMS;
}
void TIEGlobalSettings::SetEnableCMS(bool v) {
    Authority()->fValues.EnableCMS = v;
}
bool TIEGlobalSettings::ApplyColorProfileOnRendering() const {
    return Authority()->fValues.ApplyColorProfileOnRendering;
}
void TIEGlobalSettings::SetApplyColorProfileOnRendering(bool v) {
    Authority()->fValues.ApplyColorProfileOnRendering = v;
}
bool TIEGlobalSettings::UseGDIPlus() const {
    return Authority()->fValues.UseGDIPlus;
}
void TIEGlobalSettings::SetUseGDIPlus(bool v) {
    Authority()->fValues.UseGDIPlus = v;
}
TMsgLanguage TIEGlobalSettings::MsgLanguage() const {
    return Authority()->fValues.MsgLanguage;
}
void TIEGlobalSettings::SetMsgLanguage(TMsgLanguage v) {
    Authority()->fValues.MsgLanguage = v;
}
int32_t TIEGlobalSettings::DefaultDpiX() const {
    return Authority()->fValues.DefaultDpiX;
}
void TIEGlobalSettings::SetDefaultDpiX(int32_t v) {
    Authority()->fValues.DefaultDpiX = v;
}
int32_t TIEGlobalSettings::DefaultDpiY() const {
    return Authority()->fValues.DefaultDpiY;
}
void TIEGlobalSettings::SetDefaultDpiY(int32_t v) {
    Authority()->fValues.DefaultDpiY = v;
}
TResampleFilter TIEGlobalSettings::DefaultResampleFilter() const {
    return Authority()->fValues.DefaultResampleFilter;
}
void TIEGlobalSettings::SetDefaultResampleFilter(TResampleFilter v) {
    Authority()->fValues.DefaultResampleFilter = v;
}
int32_t TIEGlobalSettings::ImageProcMaxThreads() const {
    return Authority()->fValues.ImageProcMaxThreads;
}
void TIEGlobalSettings::SetImageProcMaxThreads(int32_t v) {
    Authority()->fValues.ImageProcMaxThreads = v;
}
int64_t TIEGlobalSettings::ImageProcThreadsMinSize() const {
    return Authority()->fValues.ImageProcThreadsMinSize;
}
void TIEGlobalSettings::SetImageProcThreadsMinSize(int64_t v) {
    Authority()->fValues.ImageProcThreadsMinSize = v;
}
int32_t TIEGlobalSettings::RedToGrayCoef() const {
    return Authority()->fValues.RedToGrayCoef;
}
void TIEGlobalSettings::SetRedToGrayCoef(int32_t v) {
    Authority()->fValues.RedToGrayCoef = v;
}
int32_t TIEGlobalSettings::GreenToGrayCoef() const {
    return Authority()->fValues.GreenToGrayCoef;
}
void TIEGlobalSettings::SetGreenToGrayCoef(int32_t v) {
    Authority()->fValues.GreenToGrayCoef = v;
}
int32_t TIEGlobalSettings::BlueToGrayCoef() const {
    return Authority()->fValues.BlueToGrayCoef;
}
void TIEGlobalSettings::SetBlueToGrayCoef(int32_t v) {
    Authority()->fValues.BlueToGrayCoef = v;
}
bool TIEGlobalSettings::AutoAdjustDPI() const {
    return Authority()->fValues.AutoAdjustDPI;
}
void TIEGlobalSettings::SetAutoAdjustDPI(bool v) {
    Authority()->fValues.AutoAdjustDPI = v;
}
bool TIEGlobalSettings::AutoSetBitDepth() const {
    return Authority()->fValues.AutoSetBitDepth;
}
void TIEGlobalSettings::SetAutoSetBitDepth(bool v) {
    Authority()->fValues.AutoSetBitDepth = v;
}
bool TIEGlobalSettings::AutoOptimizeOnSave() const {
    return Authority()->fValues.AutoOptimizeOnSave;
}
void TIEGlobalSettings::SetAutoOptimizeOnSave(bool v) {
    Authority()->fValues.AutoOptimizeOnSave = v;
}
TIOParamDefaults& TIEGlobalSettings::IOParamDefaults() {
    return Authority()->fValues.IOParamDefaults;
}

TIEGlobalSettings& IEGlobalSettings() {
    {
        std::lock_guard<std::mutex> guard(InstancesLock());
        if (!Instances().empty()) return *Instances().front();
    }
    static TIEGlobalSettings processDefault;
    return processDefault;
}

uint64_t IETotalPhysicalMemory() {
    long pages = sysconf(_SC_PHYS_PAGES);
    long pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0) return 0;
    return uint64_t(pages) * uint64_t(pageSize);
}

// Counts distinct (package, core) pairs, the Linux reading of "processor core"
// entries; hyper-threads of one core share a pair.
static int CountPhysicalCores() {
    std::set<std::pair<std::string, std::string>> cores;
    for (int cpu = 0;; ++cpu) {
        std::string base = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
        std::ifstream coreFile(base + "core_id"), packageFile(base + "physical_package_id");
        if (!coreFile) break;
        std::string core, package;
        coreFile >> core;
        packageFile >> package;
        cores.emplace(package, core);
    }
    return cores.empty() ? 1 : int(cores.size());
}

static std::atomic<int> gCoreCountOverride{0};

int IEPhysicalCoreCount() {
    if (int forced = gCoreCountOverride.load(std::memory_order_relaxed); forced > 0) return forced;
    static const int count = CountPhysicalCores();
    return count;
}

void IESetPhysicalCoreCount(int Count) {
    gCoreCountOverride.store(Count > 0 ? Count : 0, std::memory_order_relaxed);
}
