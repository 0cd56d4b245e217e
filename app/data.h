#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/ahresize.h"
#include "app/memdata.h"

// Called for each finished file with the path of the written file (empty if the load failed).
using TOnNewImageEvent = std::function<void(void* Sender, const std::string& FileName)>;

// What the batch needs of the grid's selection: the RecId of each selected row in
// selection order (nothing for a group row), and a way to clear it.
class TSelectionSource {
  public:
    virtual ~TSelectionSource() = default;
    virtual int SelectedCount() const = 0;
    // False for a group row, which has no record behind it.
    virtual bool SelectedRecId(int Index, int32_t& RecId) const = 0;
    virtual void ClearSelection() = 0;
};

// The application's data module: the file table and the batch driver. A batch runs
// one worker at a time on the caller's thread, pumping the caller's event loop while
// the worker runs, so that commands (BreakJob among them) arrive nested inside it.
class TDM {
  public:
    // The command line: a single argument that names a folder lists that folder; files
    // are listed as given, other folders are passed over.
    TDM(const std::vector<std::string>& Arguments = {});

    TMemData& MemData() { return dxMemData; }

    void AddFiles(const std::vector<std::string>& aFiles);
    std::string GetFilesFromDir(const std::string& FileDir);
    std::string CreateDestinationDir(const std::string& aSource, const std::string& aDir);
    void GetIDListFromSelected(TSelectionSource& Selection, std::vector<std::string>& IDList);
    void ResizeFileIDs(const std::vector<std::string>& IDList, const std::string& SourceDir);

    std::string AppPath;
    bool BreakJob = true;
    TRisizeProperty RisizeProperty;
    TOnNewImageEvent OnNewFile;

    // One turn of the caller's event loop. Unset, the driver simply waits for the
    // worker. Set, it is called until the worker has parked; the worker calls WakeUp
    // from its own thread when it parks, so a loop that sleeps until events come wakes.
    std::function<void()> ProcessMessages;
    std::function<void()> WakeUp;
    // Shows the message of a destination that can't be made.
    std::function<void(const std::string& Text)> OnMessage;

  protected:
    // Makes the worker of one file; tests put in workers that watch what they are asked.
    virtual std::unique_ptr<TResize> CreateWorker(const TRisizeProperty& Job);

  private:
    void SetRowText(const std::string& Text);

    TMemData dxMemData;
};
