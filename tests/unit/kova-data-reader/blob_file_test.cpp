#include "kova-data-reader/blob/blob_file.h"

#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fixtures/temp_directory.h"
#include "kova-data-reader/blob/stream_reading.h"

namespace {

using lumo::io::kova::BlobFile;
namespace binary = lumo::io::kova::binary;

class BlobFileTest : public testing::Test {
protected:
    BlobFileTest() { std::ofstream(path) << "0123456789"; }

    std::string read(BlobFile& file, std::int64_t position, std::size_t size) {
        std::string text(size, '\0');
        const bool sought = binary::seekTo(file.stream(), position);
        const bool complete =
            sought && binary::readExactly(file.stream(), reinterpret_cast<std::byte*>(text.data()), size);
        return complete ? text : "failed";
    }

    fixtures::TempDirectory directory;
    std::filesystem::path path = directory / "blob";
};

TEST_F(BlobFileTest, ReadsAnywhereAndRecoversFromFailures) {
    BlobFile file(path);
    EXPECT_EQ(read(file, 3, 4), "3456");
    EXPECT_EQ(read(file, 8, 3), "failed");
    EXPECT_EQ(read(file, -1, 1), "failed");
    EXPECT_EQ(read(file, INT64_MAX, 1), "failed");
    EXPECT_EQ(read(file, 0, 10), "0123456789");
    EXPECT_EQ(file.stream().tellg(), 10);
}

TEST_F(BlobFileTest, KnowsWhatIsLeftEvenWhenTheFileGrows) {
    BlobFile file(path);
    ASSERT_TRUE(binary::seekTo(file.stream(), 4));
    EXPECT_TRUE(binary::holdsAtLeast(file.stream(), 6));
    EXPECT_FALSE(binary::holdsAtLeast(file.stream(), 7));
    std::ofstream(path, std::ios::app) << "abc";
    EXPECT_TRUE(binary::holdsAtLeast(file.stream(), 9));
    EXPECT_EQ(read(file, 10, 3), "abc");
    ASSERT_TRUE(binary::seekTo(file.stream(), 20));
    EXPECT_FALSE(binary::holdsAtLeast(file.stream(), 1));
    EXPECT_TRUE(binary::holdsAtLeast(file.stream(), 0));
}

TEST_F(BlobFileTest, DescriptorIsNotInheritedByPrograms) {
    const int next = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    close(next);
    const BlobFile file(path);
    EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
}

TEST_F(BlobFileTest, PipeNeitherHangsNorOpens) {
    const std::filesystem::path pipe = directory / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THROW(BlobFile{pipe}, std::runtime_error);
}

TEST_F(BlobFileTest, SeekFailureTextShowsPositionAndFlags) {
    BlobFile file(path);
    binary::seekTo(file.stream(), -5);
    EXPECT_EQ(binary::seekFailureText("Can't seek.", file.stream()),
              "Can't seek. Current position: -1. Error flags: good: 0, eof 0, fail 1, bad 0");
}

}  // namespace
