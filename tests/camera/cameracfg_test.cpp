#include "camera/cameracfg.h"

#include "support/test.h"

namespace {

class CapabilityFile : public ::testing::Test {
 protected:
  int Load(const std::string& text) {
    WriteFile(dir_ / "f", text);
    return cameras_.CCFGLoad((dir_ / "f").c_str());
  }
  // "VENDOR/MODEL VENDOR/MODEL ..."
  std::string Names() {
    std::string names;
    for (int i = 0; i < cameras_.CCFGGetCount(); ++i) {
      CAM_CFG_SECTION entry;
      std::string vendor, model;
      EXPECT_EQ(cameras_.CCFGGetByIndex(i, entry), CCFG_OK);
      (void)entry.CCSGetCamVendor(vendor);
      (void)entry.CCSGetCamModelNo(model);
      names += vendor + "/" + model + " ";
    }
    return names;
  }

  TempDir dir_;
  CAMERA_CFG cameras_;
};

TEST_F(CapabilityFile, IsLoadedSortedAndSearched) {
  ASSERT_EQ(Load("[camera*list]\nBeta*X=s\nAlpha*Z=s\nAlpha*Y=t\nNoModel=t\n"
                 "[s]\nport=8080\nvideo source=a/b.mjpg\nzoom in=\"in; 1\"\n[t]\n"),
            CCFG_OK);
  EXPECT_EQ(Names(), "Alpha/Y Alpha/Z Beta/X NoModel/ ");
  CAM_CFG_SECTION entry;
  ASSERT_EQ(cameras_.CCFGGetByName("Beta", "X", entry), CCFG_OK);
  int port = 0;
  std::string path;
  EXPECT_EQ(entry.CCSGetPort(port), CCFG_OK);
  EXPECT_EQ(port, 8080);
  EXPECT_EQ(entry.CCSGetPathVideoSrc(path), CCFG_OK);
  EXPECT_EQ(path, "a/b.mjpg");
  EXPECT_EQ(entry.CCSGetPathZoomIn(path), CCFG_OK);
  EXPECT_EQ(path, "in; 1");
  EXPECT_EQ(entry.CCSGetPathHomePos(path), CCFG_ERR_UNSUPPORTED);
  EXPECT_EQ(path, "N/A");
  ASSERT_EQ(cameras_.CCFGGetByName("Alpha", "Y", entry), CCFG_OK);
  EXPECT_EQ(entry.CCSGetPort(port), CCFG_OK) << "a missing port is 0";
  EXPECT_EQ(port, 0);
  EXPECT_EQ(CAM_CFG_SECTION().CCSGetPort(port), CCFG_ERR_UNSUPPORTED);
  EXPECT_EQ(cameras_.CCFGGetByName("beta", "X", entry), CCFG_ERR_NOT_FOUND);
  for (const int index : {-1, 4}) EXPECT_EQ(cameras_.CCFGGetByIndex(index, entry), CCFG_ERR_PARAM);
  EXPECT_EQ(GetKeyCount(), 9);

  ASSERT_EQ(Load("[camera*list]\nAlpha*A=s\n[s]\n"), CCFG_OK) << "a second file adds to the first";
  EXPECT_EQ(Names(), "Alpha/A Alpha/Y Alpha/Z Beta/X NoModel/ ");
}

TEST_F(CapabilityFile, SaysWhatIsWrongWithIt) {
  EXPECT_EQ(cameras_.CCFGLoad(nullptr), CCFG_ERR_PARAM);
  EXPECT_EQ(cameras_.CCFGLoad((dir_ / "none").c_str()), CCFG_ERR_LIST);
  EXPECT_EQ(Load("[cameras]\nA*B=s\n"), CCFG_ERR_LIST);
  EXPECT_EQ(Load(std::string("\0\xFF[camera*list\n", 15)), CCFG_ERR_LIST);
  EXPECT_EQ(cameras_.CCFGGetCount(), 0);
  EXPECT_EQ(Load("[camera*list]\nA*B=s\nC*D=gone\nE*F=s\n[s]\n"), CCFG_ERR_SECTION);
  EXPECT_EQ(Names(), "A/B ") << "what came before stays";
  EXPECT_EQ(Load("[camera*list]\nA*B=\n"), CCFG_ERR_LIST);
  EXPECT_EQ(cameras_.SetVendorModelToEvent(nullptr, *std::make_unique<CAM_CFG_SECTION>()), -1);
  CAM_CFG_SECTION entry;
  EXPECT_EQ(cameras_.AssignKeyToEvent(entry, "tilt sideways", "x"), -1);
}

TEST_F(CapabilityFile, OfNamesThatBeginWithEachOtherIsSortedWithoutGoingAstray) {
  std::string text = "[camera*list]\n";
  for (int i = 0; i < 3000; ++i) {
    const std::string name(static_cast<std::size_t>(i * 7919 % 60 + 1), i % 3 == 0 ? 'b' : 'a');
    text += name + "*" + std::to_string(i * 31 % 997) + "-" + std::to_string(i) + "=s\n";
  }
  const auto begin = Clock::now();
  ASSERT_EQ(Load(text + "[s]\n"), CCFG_OK);
  EXPECT_LT(Clock::now() - begin, seconds(5));
  ASSERT_EQ(cameras_.CCFGGetCount(), 3000);
  std::vector<CAM_CFG_SECTION> sorted(3000);
  for (int i = 0; i < 3000; ++i)
    (void)cameras_.CCFGGetByIndex(i, sorted[static_cast<std::size_t>(i)]);
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
}

}  // namespace
