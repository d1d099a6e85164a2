#include "net/wphttpclient.h"

#include <gtest/gtest.h>

#include <array>

#include "support/fakecamera.h"

using watchpost::test::FakeCamera;

namespace {

struct Case {
  const char* what;
  std::string reply;
  int result;
  int status;
  std::string type;  // "-" when it is not there
  std::string length;
  std::string body;
};

TEST(HttpClient, ReadsHeadsAsCamerasWriteThem) {
  const std::string ok = "HTTP/1.0 200 OK\r\n";
  const std::string fifteen_lines =
      "A:1\r\nB:1\r\nC:1\r\nD:1\r\nE:1\r\nF:1\r\nG:1\r\nH:1\r\nI:1\r\nJ:1\r\nK:1\r\nL:1\r\nM:"
      "1\r\nN:1\r\nO:1\r\n";
  const Case cases[] = {
      {"lower-cases the whole line",
       "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=ABC\r\n\r\nx",
       HTTP_OK,
       200,
       " multipart/x-mixed-replace; boundary=abc",
       "-",
       "\r\nx"},
      {"length before type",
       ok + "Content-Length: 5\r\nContent-Type: image/jpeg\r\n\r\nx",
       HTTP_OK,
       200,
       " image/jpeg",
       " 5",
       "\r\nx"},
      {"length after type stays unread",
       ok + "Content-Type: a/b\r\nContent-Length: 5\r\n\r\nx",
       HTTP_OK,
       200,
       " a/b",
       "-",
       "Content-Length: 5\r\n\r\nx"},
      {"the first length counts",
       ok + "Content-Length:1\r\nContent-Length:2\r\nContent-Type:t\r\n",
       HTTP_OK,
       200,
       "t",
       "1",
       ""},
      {"LF alone ends lines",
       "HTTP/1.0 200 OK\nContent-Type: a/b\nx",
       HTTP_OK,
       200,
       " a/b",
       "-",
       "x"},
      {"CR takes any byte along",
       "HTTP/1.0 200 OK\r Content-Type: a/b\rXy",
       HTTP_OK,
       200,
       " a/b",
       "-",
       "y"},
      {"an empty line does not end the head",
       ok + "\r\nContent-Type: late\r\n",
       HTTP_OK,
       200,
       " late",
       "-",
       ""},
      {"15 lines are enough",
       ok + fifteen_lines + "Content-Type: t\r\n",
       HTTP_OK,
       200,
       "-",
       "-",
       "Content-Type: t\r\n"},
      {"an end without type", ok, HTTP_OK, 200, "-", "-", ""},
      {"204 is fine too",
       "HTTP/1.0 204 No Content\r\nContent-Type: t\r\n",
       HTTP_OK,
       204,
       " t",
       "-",
       ""},
      {"unauthorized", "HTTP/1.0 401 Unauthorized\r\n\r\n", HTTP_ERR_UNAUTHORIZED, 401, "", "", ""},
      {"not found", "HTTP/1.0 404 Not Found\r\n\r\n", HTTP_ERR_RESPONSE, 404, "", "", ""},
      {"a redirect is not followed",
       "HTTP/1.0 302 Found\r\nLocation: x\r\n\r\n",
       HTTP_ERR_RESPONSE,
       302,
       "",
       "",
       ""},
      {"another protocol", "ICY 200 OK\r\n", HTTP_ERR_RESPONSE, 0, "", "", ""},
      {"a number past all bounds",
       "HTTP/1.0 99999999999999999999 X\r\n",
       HTTP_ERR_RESPONSE,
       2147483647,
       "",
       "",
       ""},
      {"no status", "HTTP/1.0\r\n", HTTP_ERR_IO, 0, "", "", ""},
      {"an empty status line", "\r\n", HTTP_ERR_IO, 0, "", "", ""},
      {"nothing at all", "", HTTP_ERR_IO, 0, "", "", ""},
      {"a type without a value", ok + "Content-Type:\r\n", HTTP_ERR_IO, 200, "", "", ""},
      {"a line of delimiters", ok + " :;=\r\n", HTTP_ERR_IO, 200, "", "", ""},
      {"NUL ends a line's text",
       ok + std::string("Content-Type: a\0b\r\n", 19),
       HTTP_OK,
       200,
       " a",
       "-",
       ""},
  };
  for (const Case& c : cases) {
    FakeCamera camera({c.reply});
    WPHttpClient client("127.0.0.1", camera.Port(), "p", "", "", 5);
    EXPECT_EQ(client.SendRequest(), HTTP_OK) << c.what;
    int status = -1;
    EXPECT_EQ(client.CheckResponse(status), c.result) << c.what;
    EXPECT_EQ(status, c.status) << c.what;
    std::array<char, 100> body{};
    std::string type = "-";
    std::string length = "-";
    if (c.result != HTTP_OK) {
      EXPECT_EQ(client.ReadData(body.data(), 1), -1) << c.what;
      EXPECT_EQ(client.GetHttpContent(HTTP_CONTENT_TYPE, type), HTTP_ERR_STATE) << c.what;
      continue;
    }
    EXPECT_EQ(client.GetHttpContent(HTTP_CONTENT_TYPE, type),
              c.type == "-" ? HTTP_ERR_NOT_FOUND : HTTP_OK)
        << c.what;
    EXPECT_EQ(client.GetHttpContent(HTTP_CONTENT_LENGTH, length),
              c.length == "-" ? HTTP_ERR_NOT_FOUND : HTTP_OK);
    EXPECT_EQ(type, c.type) << c.what;
    EXPECT_EQ(length, c.length) << c.what;
    EXPECT_EQ(client.ReadData(body.data(), static_cast<int>(body.size())),
              static_cast<int>(c.body.size()))
        << c.what;
    EXPECT_EQ(std::string(body.data()), c.body) << c.what;
  }
}

TEST(HttpClient, SendsOnlyTheRequestAndCompleteCredentials) {
  const struct {
    const char *user, *password, *request;
  } cases[] = {
      {"", "", "GET /a/b?c=d HTTP/1.0\r\n\r\n"},
      {"user", "", "GET /a/b?c=d HTTP/1.0\r\n\r\n"},
      {"", "secret", "GET /a/b?c=d HTTP/1.0\r\n\r\n"},
      {"user", "secret", "GET /a/b?c=d HTTP/1.0\r\nAuthorization: Basic dXNlcjpzZWNyZXQ=\r\n\r\n"},
  };
  for (const auto& c : cases) {
    FakeCamera camera({"HTTP/1.0 200 OK\r\n"});
    WPHttpClient client("127.0.0.1", camera.Port(), "a/b?c=d", c.user, c.password, 5);
    EXPECT_EQ(client.SendRequest(), HTTP_OK);
    camera.Finish();
    EXPECT_EQ(camera.Requests().at(0), c.request);
  }
}

TEST(HttpClient, CutsLinesAtItsBuffer) {
  const std::string name = "Content-Type: ";
  FakeCamera camera({"HTTP/1.0 200 OK\r\n" + name + std::string(3000, 'a') + "\r\n"});
  WPHttpClient client("127.0.0.1", camera.Port(), std::string(100000, 'p'), "", "", 5);
  EXPECT_EQ(client.SendRequest(), HTTP_OK);
  std::string type;
  EXPECT_EQ(client.GetHttpContent(HTTP_CONTENT_TYPE, type), HTTP_OK);
  EXPECT_EQ(type.size(), 2047 - name.size() + 1);
  std::array<char, 4000> rest{};
  EXPECT_EQ(client.ReadToLineEnd(rest.data(), 0), -1);
  EXPECT_EQ(client.ReadToLineEnd(rest.data(), 4000), 3000 - (2048 - static_cast<int>(name.size())))
      << "the byte that filled the buffer is gone, the rest is the next line";
  camera.Finish();
  EXPECT_EQ(camera.Requests().at(0).size(), 65535U + 2) << "a request line past its bound is cut";
}

TEST(HttpClient, RefusesOperationsOutOfTurn) {
  WPHttpClient client("127.0.0.1", 1, "", "", "", 1);
  int status = 7;
  EXPECT_EQ(client.CheckResponse(status), HTTP_ERR_STATE);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(client.CheckHttpResponse(), HTTP_ERR_STATE);
  std::string value;
  EXPECT_EQ(client.GetHttpContent(HTTP_CONTENT_TYPE, value), HTTP_ERR_STATE);
  EXPECT_EQ(client.GetHttpContent(static_cast<HTTP_MAP_KEY>(2), value), HTTP_ERR_KEY);
  EXPECT_EQ(client.GetHttpContent(static_cast<HTTP_MAP_KEY>(-1), value), HTTP_ERR_KEY);
  EXPECT_EQ(client.WriteData("x", 1), -1);
  EXPECT_EQ(client.SendRequest(), HTTP_ERR_IO) << "nobody listens";
}

}  // namespace
