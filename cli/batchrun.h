#pragma once

#include <ostream>

#include "app/data.h"
#include "cli/batchoptions.h"

// Runs the batch of the command line on DM: lists the PATHs, resizes every row, and
// prints each row ("file TAB row text") to Out as soon as its file is done, so a long
// run shows its progress and a killed one keeps the lines of the files that finished.
// With ProgressColumns above 0 (Err is a terminal that wide), a count of the files
// done stands on one line of Err while the batch runs, and is cleared at the end.
// Returns 1 when a PATH was neither a file nor a folder, else 0.
int RunBatch(TDM& DM, const TBatchOptions& Options, std::ostream& Out, std::ostream& Err,
             int ProgressColumns);
