#include "platform/orvaea.h"

#include <fcntl.h>

#include "support/test.h"

namespace {

void Touch(const std::string& path, const char* stream) {
  const UniqueFd fd(ORVAEAOpen(path.c_str(), stream, O_WRONLY | O_CREAT));
  ASSERT_TRUE(fd.IsValid());
}

TEST(AttributeStreams, LieBesideTheFileAndGoWithIt) {
  const TempDir dir;
  Touch(dir / "a.avi", "LOG");
  Touch(dir / "b.avi", "LOG");
  EXPECT_TRUE(fs::exists(dir / "@eaDir/a.avi/LOG"));
  EXPECT_EQ(ORVAEARemove((dir / "a.avi").c_str()), 0);
  EXPECT_FALSE(fs::exists(dir / "@eaDir/a.avi"));
  EXPECT_TRUE(fs::exists(dir / "@eaDir/b.avi/LOG")) << "another file's streams stay";
  EXPECT_EQ(ORVAEARemove((dir / "b.avi").c_str()), 0);
  EXPECT_FALSE(fs::exists(dir / "@eaDir")) << "nothing empty stays";
  fs::create_directory(dir / "@eaDir");
  EXPECT_EQ(ORVAEARemove((dir / "b.avi").c_str()), 0);
  EXPECT_TRUE(fs::exists(dir / "@eaDir")) << "there was nothing to remove";
}

TEST(AttributeStreams, NeverLeaveTheirFolder) {
  const TempDir dir;
  WriteFile(dir / "keep/file", "x");
  WriteFile(dir / "keep/@eaDir/file/LOG", "x");
  for (const char* path : {"", "/", ".", "..", "keep/..", "keep/."}) {
    EXPECT_EQ(ORVAEARemove((dir / path).c_str()), *path == '\0' || *path == '/' ? 0 : -1) << path;
  }
  for (const char* stream : {"", ".", "..", "../../file"}) {
    EXPECT_LT(ORVAEAOpen((dir / "keep/file").c_str(), stream, O_RDONLY), 0) << stream;
  }
  EXPECT_TRUE(fs::exists(dir / "keep/file"));
  EXPECT_TRUE(fs::exists(dir / "keep/@eaDir/file/LOG"));
}

}  // namespace
