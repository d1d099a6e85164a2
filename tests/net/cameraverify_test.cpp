#include "net/cameraverify.h"

#include "net/ptz.h"
#include "support/fakecamera.h"
#include "support/jpegs.h"

namespace {

std::string Stream(const std::string& type, const std::string& part, std::size_t length) {
  return "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n--b\r\n"
         "Content-Type: " +
         type + "\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n" + part + "\r\n--b\r\n";
}

TEST(CameraVerify, SaysWhatACameraDelivers) {
  const Jpeg picture = MakeJpeg({64, 48}, 1);
  const std::string jpeg(picture.begin(), picture.end());
  const struct {
    std::string reply;
    int width;
    int status;
  } cases[] = {
      {Stream("image/jpeg", jpeg, jpeg.size()), 64, CV_OK},
      {Stream("Image/JPEG", jpeg, jpeg.size()), 64, CV_OK},
      {Stream("image/jpeg", jpeg, jpeg.size()), 32, CV_ERR_DIMENSION},
      {Stream("image/jpeg", "no picture", 10), 64, CV_ERR_FAILED},
      {Stream("image/jpeg", "", 0), 64, CV_ERR_FAILED},
      {Stream("image/jpeg", "", 4000000000), 64, CV_ERR_NO_MEMORY},
      {Stream("text/plain", jpeg, jpeg.size()), 64, CV_ERR_NOT_JPEG},
      {"HTTP/1.0 401 No\r\n\r\n", 64, CV_ERR_UNAUTHORIZED},
      {"HTTP/1.0 404 No\r\n\r\n", 64, CV_ERR_BAD_RESPONSE},
      {"HTTP/1.0 200 OK\r\nContent-Type: image/jpeg\r\n\r\n" + jpeg, 64, CV_ERR_NOT_MJPEG},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply.substr(0, 150));
    const FakeCamera camera({c.reply});
    CameraVerify verify("127.0.0.1", camera.Port(), "", "", "video");
    int width = c.width;
    int height = 48;
    EXPECT_EQ(verify.CVVerifyCameraStatus(width, height), c.status);
    EXPECT_EQ(width, c.status == CV_ERR_DIMENSION ? 64 : c.width);
  }
  const FakeCamera root_page({Stream("image/jpeg", jpeg, jpeg.size())});
  Camera camera("Hof", "127.0.0.1", root_page.Port(), "", "", "");
  int width = 64;
  int height = 48;
  EXPECT_EQ(CameraVerify(camera).CVVerifyCameraStatus(width, height), CV_OK);
  int none = 0;
  int size = 480;
  CameraVerify unreachable("127.0.0.1", 1, "", "", "x");
  EXPECT_EQ(unreachable.CVVerifyCameraStatus(none, size), CV_ERR_DIMENSION);
  EXPECT_EQ(unreachable.CVVerifyCameraStatus(size, size), CV_ERR_CONNECT);
  testing::internal::CaptureStderr();
  EXPECT_NE(CameraVerify("", 80, "", "", "x").CVVerifyCameraStatus(size, size), CV_OK);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("[debug]CameraVerify:"));
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
  EXPECT_THAT(camera.Requests()[0], StartsWith("GET /ptz?x=-1 HTTP/1.0\r\n"));
  EXPECT_THAT(camera.Requests()[1], StartsWith("GET /home "));

  CAM_PTZ_ID unknown{dir / "f", "A", "C"};
  for (CAM_PTZ_ID* which : {&unknown, static_cast<CAM_PTZ_ID*>(nullptr)})
    EXPECT_EQ(Ptz("127.0.0.1", port.c_str(), "", "", which).MoveUp(), PTZ_ERR_UNSUPPORTED);
}

}  // namespace
