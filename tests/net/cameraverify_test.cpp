#include "net/cameraverify.h"

#include <gtest/gtest.h>

#include "net/ptz.h"
#include "support/fakecamera.h"
#include "support/jpegs.h"
#include "support/tempdir.h"

namespace {

using watchpost::test::FakeCamera;
using watchpost::test::Jpeg;
using watchpost::test::MakeJpeg;
using watchpost::test::TempDir;
using watchpost::test::WriteFile;

std::string Stream(const std::string& type, const std::string& part) {
  return "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n--b\r\n"
         "Content-Type: " +
         type + "\r\nContent-Length: " + std::to_string(part.size()) + "\r\n\r\n" + part +
         "\r\n--b\r\n";
}

TEST(CameraVerify, TellsWhatACameraDelivers) {
  const Jpeg picture = MakeJpeg({64, 48}, 1);
  const std::string jpeg(picture.begin(), picture.end());
  struct Case {
    const char* name;
    std::string reply;
    int width;
    int status;
  };
  const Case cases[] = {
      {"as expected", Stream("image/jpeg", jpeg), 64, CV_OK},
      {"capitals", Stream("Image/JPEG", jpeg), 64, CV_OK},
      {"another size", Stream("image/jpeg", jpeg), 32, CV_ERR_DIMENSION},
      {"no picture", Stream("image/jpeg", "rubbish"), 64, CV_ERR_FAILED},
      {"empty", Stream("image/jpeg", ""), 64, CV_ERR_FAILED},
      {"text", Stream("text/plain", jpeg), 64, CV_ERR_NOT_JPEG},
      {"password", "HTTP/1.0 401 No\r\n\r\n", 64, CV_ERR_UNAUTHORIZED},
      {"path", "HTTP/1.0 404 No\r\n\r\n", 64, CV_ERR_BAD_RESPONSE},
      {"one picture",
       "HTTP/1.0 200 OK\r\nContent-Type: image/jpeg\r\n\r\n" + jpeg,
       64,
       CV_ERR_NOT_MJPEG},
      {"a lying length",
       "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n--b\r\n"
       "Content-Type: image/jpeg\r\nContent-Length: 4000000000\r\n\r\n",
       64,
       CV_ERR_NO_MEMORY},
  };
  for (const Case& at_hand : cases) {
    SCOPED_TRACE(at_hand.name);
    const FakeCamera camera({at_hand.reply});
    CameraVerify verify("127.0.0.1", camera.Port(), "", "", "video");
    int width = at_hand.width;
    int height = 48;
    EXPECT_EQ(verify.CVVerifyCameraStatus(width, height), at_hand.status);
    EXPECT_EQ(width, at_hand.status == CV_ERR_DIMENSION ? 64 : at_hand.width);
  }
  int none = 0;
  int height = 480;
  EXPECT_EQ(CameraVerify("127.0.0.1", 1, "", "", "x").CVVerifyCameraStatus(none, height),
            CV_ERR_DIMENSION);
  int width = 64;
  EXPECT_EQ(CameraVerify("127.0.0.1", 1, "", "", "x").CVVerifyCameraStatus(width, height),
            CV_ERR_CONNECT);
  testing::internal::CaptureStderr();
  EXPECT_NE(CameraVerify("", 80, "", "", "x").CVVerifyCameraStatus(width, height), CV_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr().find("[debug]CameraVerify:"), 0U);
}

TEST(Ptz, SendsTheCommandsThatTheCameraHas) {
  const TempDir dir;
  WriteFile(dir / "f", "[camera*list]\nA*B=s\n[s]\npan left=ptz?x=-1\nhome pos=home\n");
  CAM_PTZ_ID id{dir / "f", "A", "B"};
  FakeCamera camera(
      {"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\nMoved.", "HTTP/1.0 401 No\r\n\r\n"});
  const std::string port = std::to_string(camera.Port());
  Ptz lens("127.0.0.1", port.c_str(), "u", nullptr, &id);
  EXPECT_EQ(lens.MoveLeft(), PTZ_OK);
  EXPECT_EQ(lens.ZoomIn(), PTZ_ERR_UNSUPPORTED);
  EXPECT_EQ(lens.GoHome(), PTZ_ERR_RESPONSE);
  camera.Finish();
  EXPECT_EQ(lens.GoHome(), PTZ_ERR_CONNECT);
  ASSERT_EQ(camera.Requests().size(), 2U);
  EXPECT_EQ(camera.Requests()[0].find("GET /ptz?x=-1 HTTP/1.0\r\n"), 0U) << camera.Requests()[0];
  EXPECT_EQ(camera.Requests()[1].find("GET /home "), 0U);

  CAM_PTZ_ID unknown{dir / "f", "A", "C"};
  for (CAM_PTZ_ID* which : {&unknown, static_cast<CAM_PTZ_ID*>(nullptr)})
    EXPECT_EQ(Ptz("127.0.0.1", port.c_str(), "", "", which).MoveUp(), PTZ_ERR_UNSUPPORTED);
}

}  // namespace
