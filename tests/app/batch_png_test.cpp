// The batch worker over the whole PngSuite, read in place: every valid file becomes a
// JPEG at the asked size.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "app/ahresize.h"
#include "image/bitmap.h"
#include "mview/imagerview.h"
#include "tests/corpus.h"
#include "tests/testutil.h"

TEST(BatchPng, EveryValidSuiteFileBecomesAJpeg) {
    PW_REQUIRE_CORPUS();
    TTempDir dir;
    TRisizeProperty job;
    job.NewSize = 64;
    job.Multi = true;
    job.ResizeMethode = Lanczos3;
    job.Destination = dir.Path();
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CorpusFile("pngsuite"))) {
        if (entry.path().extension() != ".png") continue;
        const std::string name = entry.path().stem().string();
        ++files;
        TImagerView source;
        ASSERT_TRUE(source.IO().LoadFromFileAuto(entry.path().string())) << name;
        const int32_t width = source.IEBitmap().Width();
        const int32_t height = source.IEBitmap().Height();

        job.Source = entry.path().string();
        job.Prefix = "R-";
        TResize worker(job);
        worker.Resume();
        worker.WaitUntilParked();
        ASSERT_FALSE(worker.FatalException()) << name;
        EXPECT_EQ(worker.NewImage(), dir / ("R-" + name + ".jpg"));

        TImagerView output;
        ASSERT_TRUE(output.IO().LoadFromFileAuto(worker.NewImage())) << name;
        EXPECT_EQ(output.IO().Params().FileType, 3) << name;
        // The longer side (the width for a square) is brought to 64; the other follows.
        if (width >= height) {
            EXPECT_EQ(output.IEBitmap().Width(), 64) << name;
            EXPECT_NEAR(output.IEBitmap().Height(), height * 64.0 / width, 1.0) << name;
        } else {
            EXPECT_EQ(output.IEBitmap().Height(), 64) << name;
            EXPECT_NEAR(output.IEBitmap().Width(), width * 64.0 / height, 1.0) << name;
        }
    }
    EXPECT_EQ(files, 161);
}
