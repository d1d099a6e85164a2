#include "net/wphttpclient.h"

#include "support/fakecamera.h"

namespace {

// What a client makes of a reply: status|type|length|body, where "-" is no value; only the status
// after a failure.
std::string Read(const std::string& reply, int result) {
  FakeCamera camera({reply});
  WPHttpClient client("127.0.0.1", camera.Port(), "p", "", "", 5);
  EXPECT_EQ(client.SendRequest(), HTTP_OK);
  int status = -1;
  EXPECT_EQ(client.CheckResponse(status), result);
  std::string seen = std::to_string(status);
  std::array<char, 100> body{};
  std::string value;
  if (result != HTTP_OK) {
    EXPECT_EQ(client.ReadData(body.data(), 1), -1);
    EXPECT_EQ(client.GetHttpContent(HTTP_CONTENT_TYPE, value), HTTP_ERR_STATE);
    return seen;
  }
  for (const HTTP_MAP_KEY key : {HTTP_CONTENT_TYPE, HTTP_CONTENT_LENGTH}) {
    const int found = client.GetHttpContent(key, value);
    EXPECT_TRUE(found == HTTP_OK || found == HTTP_ERR_NOT_FOUND) << found;
    seen += "|" + (found == HTTP_OK ? value : "-");
  }
  const int size = client.ReadData(body.data(), static_cast<int>(body.size()));
  EXPECT_GE(size, 0);
  return seen + "|" + std::string(body.data(), static_cast<std::size_t>(std::max(size, 0)));
}

TEST(HttpClient, ReadsHeadsAsCamerasWriteThem) {
  const std::string ok = "HTTP/1.0 200 OK\r\n";
  std::string lines;
  for (char c = 'A'; c <= 'O'; ++c) lines += c + std::string(":1\r\n");
  const struct {
    std::string reply;
    int result;
    const char* seen;
  } cases[] = {
      // the whole line in lower case
      {"HTTP/1.1 200 OK\r\nContent-Type: a/b; boundary=ABC\r\n\r\nx",
       HTTP_OK,
       "200| a/b; boundary=abc|-|\r\nx"},
      // a length is read before the type, not after it; the first one counts
      {ok + "Content-Length: 5\r\nContent-Type: a/b\r\n\r\nx", HTTP_OK, "200| a/b| 5|\r\nx"},
      {ok + "Content-Type: a/b\r\nContent-Length: 5\r\n",
       HTTP_OK,
       "200| a/b|-|Content-Length: 5\r\n"},
      {ok + "Content-Length:1\r\nContent-Length:2\r\nContent-Type:t\r\n", HTTP_OK, "200|t|1|"},
      // LF alone ends lines, and CR takes any byte along
      {"HTTP/1.0 200 OK\nContent-Type: a/b\nx", HTTP_OK, "200| a/b|-|x"},
      {"HTTP/1.0 200 OK\r Content-Type: a/b\rXy", HTTP_OK, "200| a/b|-|y"},
      // neither an empty line ends the head nor the connection's end, but 15 lines do
      {ok + "\r\nContent-Type: late\r\n", HTTP_OK, "200| late|-|"},
      {ok + lines + "Content-Type: t\r\n", HTTP_OK, "200|-|-|Content-Type: t\r\n"},
      {ok, HTTP_OK, "200|-|-|"},
      {"HTTP/1.0 204 No Content\r\nContent-Type: t\r\n", HTTP_OK, "204| t|-|"},
      {ok + std::string("Content-Type: a\0b\r\n", 19), HTTP_OK, "200| a|-|"},
      {"HTTP/1.0 401 Unauthorized\r\n\r\n", HTTP_ERR_UNAUTHORIZED, "401"},
      {"HTTP/1.0 404 Not Found\r\n\r\n", HTTP_ERR_RESPONSE, "404"},
      {"HTTP/1.0 302 Found\r\nLocation: x\r\n\r\n", HTTP_ERR_RESPONSE, "302"},
      {"ICY 200 OK\r\n", HTTP_ERR_RESPONSE, "0"},
      {"HTTP/1.0 99999999999999999999 X\r\n", HTTP_ERR_RESPONSE, "2147483647"},
      // no status, nothing at all, no value, delimiters only
      {"HTTP/1.0\r\n", HTTP_ERR_IO, "0"},
      {"\r\n", HTTP_ERR_IO, "0"},
      {"", HTTP_ERR_IO, "0"},
      {ok + "Content-Type:\r\n", HTTP_ERR_IO, "200"},
      {ok + " :;=\r\n", HTTP_ERR_IO, "200"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply);
    EXPECT_EQ(Read(c.reply, c.result), c.seen);
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
