#include "platform/olibfile.h"

#include <sys/stat.h>

#include "base/paths.h"
#include "platform/orvaserviceinfo.h"
#include "support/test.h"

namespace {

TEST(KeyValueFile, ReadsSectionsWithTheirOddNames) {
  const TempDir dir;
  const std::string long_value(70000, 'x');
  WriteFile(dir / "f",
            "maillang=\"enu\"\n# comment\n; comment\n[camera*list]\nempty =\n"
            "Maker One*Model: 2 = \"section ; one\"\nlong=" +
                long_value + "\n[Other]\nkey=value\n");
  OlibHashPtr values(PshOLIBSzHashAlloc(4));
  OLIBSZHASH* hash = values.get();
  ASSERT_EQ(OLIBFileGetSection((dir / "f").c_str(), "camera*list", &hash), 3);
  EXPECT_STREQ(SzOLIBSzHashGetValue(hash, "Maker One*Model: 2"), "section ; one");
  EXPECT_STREQ(SzOLIBSzHashGetValue(hash, "empty"), "");
  EXPECT_EQ(SzOLIBSzHashGetValue(hash, "long"), long_value);
  EXPECT_EQ(SzOLIBSzHashGetValue(hash, "LONG"), nullptr);
  EXPECT_EQ(OLIBFileGetSection((dir / "f").c_str(), "other", &hash), -1)
      << "names are case-sensitive";

  char buffer[4];
  EXPECT_EQ(OLIBFileGetKeyValue((dir / "f").c_str(), "maillang", buffer, sizeof buffer, 0), 3);
  EXPECT_STREQ(buffer, "enu");
  EXPECT_EQ(OLIBFileGetKeyValue((dir / "f").c_str(), "maillang", buffer, 3, 0), 2) << "cut to fit";
  EXPECT_STREQ(buffer, "en");
  EXPECT_EQ(OLIBFileGetKeyValue((dir / "f").c_str(), "key", buffer, sizeof buffer, 0), -1)
      << "inside a section";
}

TEST(KeyValueFile, RefusesWhatIsNoReadableFile) {
  const TempDir dir;
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  WriteFile(dir / "huge", "[s]\nk=v\n" + std::string(5 << 20, '#'));
  OlibHashPtr values(PshOLIBSzHashAlloc(4));
  OLIBSZHASH* hash = values.get();
  for (const std::string& name : {dir / "missing", dir / "fifo", dir / "huge", dir.Path()}) {
    EXPECT_EQ(OLIBFileGetSection(name.c_str(), "s", &hash), -1) << name;
  }
}

TEST(ServiceInfo, IsFoundOnlyWhenItMakesSense) {
  const TempDir root;
  const ScopedEnv env("ORVA_ROOT", root.Path() + "/");
  ORVA_SERVICE_INFO info{};
  EXPECT_EQ(ORVAServiceInfoGet(9, &info), 0) << "no file";
  const struct {
    const char* text;
    int result;
  } cases[] = {
      {"[service 9]\nvolume=2\npath=/volume2/films/\n", 1},
      {"[service 8]\nvolume=2\npath=/volume2/films\n", 0},
      {"[service 9]\nvolume=2\n", -1},
      {"[service 9]\nvolume=2x\npath=/volume2/films\n", -1},
      {"[service 9]\nvolume=0\npath=/volume2/films\n", -1},
      {"[service 9]\nvolume=2\npath=films\n", -1},
  };
  for (const auto& c : cases) {
    WriteFile(root / "etc/orvainfo.conf", c.text);
    EXPECT_EQ(ORVAServiceInfoGet(9, &info), c.result) << c.text;
  }
  EXPECT_EQ(info.volume, 2);
  EXPECT_EQ(info.path, root / "volume2/films") << "below ORVA_ROOT, without a trailing slash";
}

}  // namespace
