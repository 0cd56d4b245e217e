#include "app/data.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <sys/stat.h>

#include "app/appfolder.h"
#include "app/nameorder.h"

namespace {

// Regular files only, links followed: a pipe, socket or device would block the worker
// that opens it, or never end.
bool FileExists(const std::string& Name) {
    struct stat info;
    return !Name.empty() && ::stat(Name.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool DirectoryExists(const std::string& Name) {
    struct stat info;
    return ::stat(Name.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string FileExtension(const std::string& Name) {
    std::string file = Name.substr(Name.rfind('/') + 1);
    auto point = file.rfind('.');
    return point == std::string::npos ? std::string() : file.substr(point);
}

// A bare file name lies in the working folder: its results go to ./Resize, never to /Resize.
std::string FolderOf(const std::string& Name) {
    auto slash = Name.rfind('/');
    return slash == std::string::npos ? std::string(".") : Name.substr(0, slash);
}

} // namespace

TDM::TDM(const std::vector<std::string>& Arguments) {
    AppPath = ProgramFolder();
    // A file manager's "Open with" hands over files; they are listed as a drop would
    // list them. Folders count only as the one argument.
    if (Arguments.size() == 1 && DirectoryExists(Arguments[0]))
        GetFilesFromDir(Arguments[0]);
    else if (!Arguments.empty())
        AddFiles(Arguments);
    BreakJob = true;
}

void TDM::AddFiles(const std::vector<std::string>& aFiles) {
    dxMemData.SetActive(true);
    for (const std::string& entry : aFiles) {
        if (!FileExists(entry)) continue;
        // Partial key: the beginning of a listed path counts as listed.
        if (dxMemData.Locate(TMemField::FILENAME, entry)) continue;
        dxMemData.Insert();
        dxMemData.SetField(TMemField::FILENAME, entry);
        dxMemData.SetField(TMemField::EXTENSION, FileExtension(entry));
        dxMemData.SetField(TMemField::LASACTION, "Neu");
        dxMemData.Post();
    }
}

std::string TDM::GetFilesFromDir(const std::string& FileDir) {
    // One level, hidden files included. readdir has no useful order, so the names are
    // put in the order a file manager shows them.
    std::vector<std::string> names;
    if (DIR* dir = opendir(FileDir.c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (FileExists(FileDir + "/" + name)) names.push_back(std::move(name));
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end(), NameOrderLess);
    std::vector<std::string> files;
    files.reserve(names.size());
    for (const std::string& name : names)
        files.push_back(FileDir + "/" + name);
    AddFiles(files);
    return std::string();
}

std::string TDM::CreateDestinationDir(const std::string& aSource, const std::string& aDir) {
    std::string destination = FolderOf(aSource) + "/" + aDir;
    // A folder that another run made a moment ago is as good as one made here.
    if (::mkdir(destination.c_str(), 0777) != 0 && !(errno == EEXIST && DirectoryExists(destination))) {
        if (OnMessage) OnMessage("Das Verzeichnis \"" + destination + "\" kann nicht erstellt werden");
        return std::string();
    }
    return destination;
}

void TDM::GetIDListFromSelected(TSelectionSource& Selection, std::vector<std::string>& IDList) {
    // Counted once: a grid's count walks its whole selection.
    const int count = Selection.SelectedCount();
    for (int i = 0; i < count; ++i) {
        int32_t recId;
        if (Selection.SelectedRecId(i, recId)) IDList.push_back(std::to_string(recId));
    }
    Selection.ClearSelection();
}

std::unique_ptr<TResize> TDM::CreateWorker(const TRisizeProperty& Job) {
    return std::make_unique<TResize>(Job);
}

void TDM::SetRowText(const std::string& Text) {
    // The current row, whatever it is now: the user may have moved it during the pump.
    dxMemData.Edit();
    dxMemData.SetField(TMemField::LASACTION, Text);
    dxMemData.Post();
}

void TDM::ResizeFileIDs(const std::vector<std::string>& IDList, const std::string& SourceDir) {
    BreakJob = false;
    for (const std::string& id : IDList)
        if (dxMemData.Locate(TMemField::RecId, id)) SetRowText("Start Resize, please wait..");

    for (const std::string& id : IDList) {
        if (!dxMemData.Locate(TMemField::RecId, id)) continue;
        RisizeProperty.Source = dxMemData.Field(TMemField::FILENAME);
        RisizeProperty.Destination = CreateDestinationDir(RisizeProperty.Source, SourceDir);
        if (RisizeProperty.Destination.empty()) continue;

        std::unique_ptr<TResize> worker = CreateWorker(RisizeProperty);
        worker->OnParked = WakeUp;
        worker->Resume();
        if (BreakJob) {
            // The stop takes effect at the start of a file; the park is released by
            // Terminate, so the wait ends.
            worker->Terminate();
            worker->WaitFor();
            SetRowText("Abbruch..");
            return;
        }
        if (ProcessMessages)
            while (!worker->Suspended())
                ProcessMessages();
        else
            worker->WaitUntilParked();

        std::string written = worker->NewImage();
        SetRowText("OK ..\\" + SourceDir + "\\" + written.substr(written.rfind('/') + 1));
        if (OnNewFile) OnNewFile(this, written);
    }
    BreakJob = true;
}
