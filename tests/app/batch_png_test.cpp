// The batch worker over a few PngSuite files, read in place: each becomes a JPEG at the
// asked size. The PNG reader's own tests take every file of the suite.
#include <gtest/gtest.h>

#include <string>

#include "app/ahresize.h"
#include "image/bitmap.h"
#include "mview/imagerview.h"
#include "tests/corpus.h"
#include "tests/testutil.h"

TEST(BatchPng, SuiteFilesBecomeJpegsAtTheAskedSize) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job;
    job.NewSize = 64;
    job.Multi = true;
    job.Destination = dir.Path();
    // Palette, grey with alpha, 16-bit colour, interlaced, 8 x 32 and 32 x 8.
    const std::tuple<std::string, int32_t, int32_t> files[] = {
        {"basn3p08", 64, 64}, {"basn4a16", 64, 64}, {"basn2c16", 64, 64},
        {"basi6a08", 64, 64}, {"cdfn2c08", 16, 64}, {"cdhn2c08", 64, 16},
    };
    for (const auto& [name, width, height] : files) {
        job.Source = CorpusFile("pngsuite/" + name + ".png");
        TResize worker(job);
        worker.Resume();
        worker.WaitUntilParked();
        ASSERT_FALSE(worker.FatalException()) << name;
        EXPECT_EQ(worker.NewImage(), dir / ("R-" + name + ".jpg"));
        TImagerView output;
        ASSERT_TRUE(output.IO().LoadFromFileAuto(worker.NewImage())) << name;
        EXPECT_EQ(output.IO().Params().FileType, 3) << name;
        EXPECT_EQ(std::make_pair(output.IEBitmap().Width(), output.IEBitmap().Height()),
                  std::make_pair(width, height))
            << name;
    }
}
