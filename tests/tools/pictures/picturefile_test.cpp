#include "pictures/picturefile.h"

#include <gtest/gtest.h>

#include "pictures/canvas.h"
#include "support/failure.h"
#include "support/files.h"

namespace pelta::pictures {
namespace {

TEST(PictureFile, StandsUnderItsNameOnceItIsWhole) {
    const ScratchFolder folder;
    const std::string name = folder.file("picture.png");
    {
        PictureFile picture(name, 400, 300, false);
        picture.canvas().frame({10, 10, 100, 100});
        EXPECT_FALSE(std::filesystem::exists(name));
        picture.commit();
    }
    EXPECT_TRUE(contentsOf(name).starts_with("\x89PNG"));
    EXPECT_THROW(PictureFile(name, 400, 300, false), Failure) << "a file stands there";
}

TEST(PictureFile, LeavesNothingBehindWithoutCommit) {
    const ScratchFolder folder;
    PictureFile(folder.file("picture.svg"), 400, 300, false).canvas().frame({10, 10, 100, 100});
    EXPECT_THROW(PictureFile(folder.file("picture.gif"), 400, 300, false), UsageError);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}
}
