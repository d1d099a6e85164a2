// The service's mail settings, the only row of table "notification".
#pragma once

#include <cstdint>
#include <string>

#include "base/export.h"
#include "platform/orvadb.h"

/// How mails are sent. Other values are stored, and refused by the mail sender.
enum NOTIFICATIONMETHOD : std::int32_t {
  NOTIFICATION_NONE = 0,         ///< no mail
  NOTIFICATION_SYSTEM_MAIL = 1,  ///< through the appliance's own mail settings
  NOTIFICATION_SMTP = 2,         ///< through the server of this record
};

class WATCHPOST_API Notification {
 public:
  Notification(NOTIFICATIONMETHOD method,
               std::string server,
               int port,
               bool need_auth,
               std::string username,
               std::string password,
               bool ssl,
               bool send_test_mail,
               std::string email,
               std::string email2) noexcept;

  [[nodiscard]] NOTIFICATIONMETHOD GetMethod() const noexcept { return method_; }
  [[nodiscard]] std::string GetServer() const noexcept { return server_; }
  [[nodiscard]] int GetPort() const noexcept { return port_; }
  [[nodiscard]] bool NeedAuth() const noexcept { return need_auth_; }
  [[nodiscard]] std::string GetUserName() const noexcept { return username_; }
  [[nodiscard]] std::string GetPassword() const noexcept { return password_; }
  [[nodiscard]] bool GetSSL() const noexcept { return ssl_; }
  [[nodiscard]] bool GetSendTestMail() const noexcept { return send_test_mail_; }
  [[nodiscard]] std::string GetEmailAddr() const noexcept { return email_; }
  [[nodiscard]] std::string GetEmailAddr2() const noexcept { return email2_; }

  void SetMethod(NOTIFICATIONMETHOD method) noexcept { method_ = method; }
  void SetServer(std::string server) noexcept { server_ = std::move(server); }
  void SetPort(int port) noexcept { port_ = port; }
  void SetAuth(bool need_auth) noexcept { need_auth_ = need_auth; }
  void SetUserName(std::string username) noexcept { username_ = std::move(username); }
  void SetPassword(std::string password) noexcept { password_ = std::move(password); }
  void SetSSL(bool ssl) noexcept { ssl_ = ssl; }
  void SetSendTestMail(bool send_test_mail) noexcept { send_test_mail_ = send_test_mail; }
  void SetEmailAddr(std::string email) noexcept { email_ = std::move(email); }
  void SetEmailAddr2(std::string email2) noexcept { email2_ = std::move(email2); }

  /// Reads the row. Returns 0 when it was read, and also, with the fields unchanged, when the
  /// database could not be read; -1 when there is no row. Of several rows the first counts, with a
  /// line in the system log.
  int Reload() noexcept;

  enum class Stored {
    kRead,
    kReadFirst,  ///< of several rows
    kNone,       ///< there is no row
    kUnknown,    ///< the database could not be read; the fields are unchanged
  };
  /// The same, for who must not take what could not be read for no settings.
  [[nodiscard]] Stored Read() noexcept;

  /// Replaces the row: 0 or -1. When the second of the two statements fails, the table is left
  /// empty.
  int Save() noexcept;

  /// Cuts the server to 256 bytes, user name and password to 128, both addresses to 512.
  void Validate() noexcept;

  /// Fills every field from a row of a result; a null result changes nothing.
  void PutRowIntoClassMember(__tag_DBResult* result, unsigned int row) noexcept;

  /// Does nothing.
  void Dump() const noexcept {}

 private:
  NOTIFICATIONMETHOD method_;
  std::string server_;
  std::int32_t port_;
  bool need_auth_;
  std::string username_;
  std::string password_;
  bool ssl_;
  bool send_test_mail_;
  std::string email_;
  std::string email2_;
};
