#include "io/exif.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "tests/io/jpegtestutil.h"

TEST(ExifBlock, RecognisingReadingAndTheDefaultsOfAnEmptyBlock) {
    EXPECT_TRUE(IEIsEXIFBlock({'E', 'x', 'i', 'f'}));
    EXPECT_FALSE(IEIsEXIFBlock({'E', 'x', 'i'}));
    TIOParams params;
    // "Exif" without its zero isn't read, though it counts as an EXIF block on saving.
    EXPECT_FALSE(IEReadEXIFBlock({'E', 'x', 'i', 'f', 'X', 0}, params) || params.EXIF_HasEXIFData);
    // The header with nothing readable behind it is accepted with defaults.
    EXPECT_TRUE(IEReadEXIFBlock({'E', 'x', 'i', 'f', 0, 0, 'x'}, params) && params.EXIF_HasEXIFData);
    EXPECT_EQ(params.EXIF_Orientation, 1);
    EXPECT_EQ(params.EXIF_XResolution, 300);
    EXPECT_EQ(params.EXIF_ResolutionUnit, 2);

    ASSERT_TRUE(IEReadEXIFBlock(ExifBlock(8, 72, 2), params));
    EXPECT_EQ(std::pair(params.EXIF_Orientation, params.TIFF_Orientation), std::pair(8, 8));
    EXPECT_EQ(params.EXIF_XResolution, 72);
    EXPECT_EQ(params.EXIF_YResolution, 72);
    // Per centimetre: turned into per inch, the unit kept.
    ASSERT_TRUE(IEReadEXIFBlock(ExifBlock(3, 100, 3), params));
    EXPECT_NEAR(params.EXIF_XResolution, 254, 1e-9);
    EXPECT_EQ(params.EXIF_ResolutionUnit, 3);
    // Big-endian, written by hand: orientation 6.
    ASSERT_TRUE(IEReadEXIFBlock({'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1,
                                 1,   18,  0,   3,   0, 0, 0,   1,   0, 6,  0, 0, 0, 0, 0, 0},
                                params));
    EXPECT_EQ(params.EXIF_Orientation, 6);
}

TEST(ExifBlock, OrientationIsRewrittenInPlace) {
    std::vector<uint8_t> block = ExifBlock(6, 72, 2);
    const std::vector<uint8_t> before = block;
    ASSERT_TRUE(IESetEXIFOrientation(block, 1));
    ASSERT_EQ(block.size(), before.size());
    TIOParams params;
    ASSERT_TRUE(IEReadEXIFBlock(block, params));
    EXPECT_EQ(params.EXIF_Orientation, 1);
    EXPECT_EQ(params.EXIF_XResolution, 72);
    EXPECT_EQ(std::inner_product(block.begin(), block.end(), before.begin(), 0, std::plus<>(),
                                 std::not_equal_to<>()),
              1);
    std::vector<uint8_t> broken = {'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 200, 0, 0, 0};
    EXPECT_FALSE(IESetEXIFOrientation(broken, 1));
}
