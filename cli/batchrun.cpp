#include "cli/batchrun.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "app/utf8cut.h"

namespace {

// One line of the terminal that is rewritten in place: "12/340 name.jpg".
class TProgressLine {
  public:
    TProgressLine(std::ostream& Err, int Columns) : fErr(Err), fColumns(Columns) {}

    void Show(int Done, int Total, const std::string& Name) {
        if (fColumns <= 0) return;
        const std::string text = std::to_string(Done) + "/" + std::to_string(Total) + " " + Name;
        // A line that wraps can't be taken back with a carriage return.
        fErr << '\r' << CutAtCharacter(text, size_t(fColumns - 1)) << "\x1b[K" << std::flush;
        fShown = true;
    }

    void Clear() {
        if (!fShown) return;
        fErr << "\r\x1b[K" << std::flush;
        fShown = false;
    }

  private:
    std::ostream& fErr;
    int fColumns;
    bool fShown = false;
};

std::string BaseName(const std::string& Path) {
    return Path.substr(Path.rfind('/') + 1);
}

} // namespace

int RunBatch(TDM& DM, const TBatchOptions& Options, std::ostream& Out, std::ostream& Err,
             int ProgressColumns) {
    TProgressLine progress(Err, ProgressColumns);
    auto complain = [&](const std::string& Text) {
        progress.Clear();
        Err << Text << "\n" << std::flush;
    };
    DM.OnMessage = complain;

    int status = 0;
    for (const std::string& path : Options.Paths) {
        struct stat info;
        if (::stat(path.c_str(), &info) != 0) {
            complain("pixelwright-cli: " + path + ": " + std::strerror(errno));
            status = 1;
        } else if (S_ISDIR(info.st_mode)) {
            DM.GetFilesFromDir(path);
        } else if (S_ISREG(info.st_mode)) {
            DM.AddFiles({path});
        } else {
            complain("pixelwright-cli: " + path + ": neither a file nor a folder");
            status = 1;
        }
    }

    TMemData& table = DM.MemData();
    std::vector<std::string> ids;
    for (int row = 0; row < table.RecordCount(); ++row)
        ids.push_back(std::to_string(table.Record(row).RecId));

    // Rows are printed in table order; one whose destination couldn't be made is
    // printed with the next file that is done.
    int printed = 0;
    auto printUpTo = [&](int Row) {
        for (; printed <= Row && printed < table.RecordCount(); ++printed)
            Out << table.Record(printed).FILENAME << '\t' << table.Record(printed).LASACTION << '\n';
        Out << std::flush;
    };
    int done = 0;
    DM.OnNewFile = [&](void*, const std::string&) {
        progress.Clear();
        printUpTo(table.CurrentRow());
        progress.Show(++done, int(ids.size()), BaseName(table.Field(TMemField::FILENAME)));
    };
    DM.RisizeProperty = Options.Job;
    DM.ResizeFileIDs(ids, Options.ResizeDir);
    progress.Clear();
    printUpTo(table.RecordCount() - 1);
    return status;
}
