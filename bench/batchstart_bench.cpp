// From F6 to the first worker on a table of many rows: marking every row, selecting them
// all and collecting their ids must grow with the rows, not with their square.
#include <QApplication>
#include <QSettings>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <chrono>

#include "app/data.h"
#include "app/gui/pixelwrightmain.h"

namespace {

using TClock = std::chrono::steady_clock;

// Stops each batch at its first worker and notes when that worker was asked for.
class TFirstWorkerDM : public TDM {
  public:
    TClock::time_point FirstWorker;

  protected:
    std::unique_ptr<TResize> CreateWorker(const TRisizeProperty& Job) override {
        FirstWorker = TClock::now();
        BreakJob = true;
        return TDM::CreateWorker(Job);
    }
};

void FillTable(TMemData& Table, const std::string& Folder, int Rows) {
    Table.SetActive(true);
    for (int i = 0; i < Rows; ++i) {
        // Rows go in directly: the files need not exist, since no worker gets to them; only
        // their folder must, for the destination to be made in it.
        Table.Insert();
        Table.SetField(TMemField::FILENAME, Folder + "/img" + std::to_string(i) + ".jpg");
        Table.SetField(TMemField::EXTENSION, ".jpg");
        Table.SetField(TMemField::LASACTION, "Neu");
        Table.Post();
    }
}

void BM_ResizeAllToFirstWorker(benchmark::State& State) {
    QTemporaryDir dir;
    QSettings store(dir.filePath(QStringLiteral("store.ini")), QSettings::IniFormat);
    TFirstWorkerDM dm;
    TfmPixelWrightMain window(store);
    window.SetDataModule(&dm);
    FillTable(dm.MemData(), dir.path().toStdString(), int(State.range(0)));
    window.show();
    for (auto _ : State) {
        const TClock::time_point start = TClock::now();
        window.acResizeAll->trigger();
        State.SetIterationTime(std::chrono::duration<double>(dm.FirstWorker - start).count());
    }
    State.SetComplexityN(State.range(0));
}
BENCHMARK(BM_ResizeAllToFirstWorker)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(20000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

} // namespace

int main(int argc, char** argv) {
    // No display is needed: the window is drawn offscreen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
