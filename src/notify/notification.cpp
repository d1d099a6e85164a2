#include "notify/notification.h"

#include <utility>

#include "base/diagnostics_internal.h"
#include "database/statement.h"
#include "database/textlimits_internal.h"
#include "database/wpdb.h"

using watchpost::CutText;

namespace {

constexpr char kLogSource[] = "notification";

}  // namespace

Notification::Notification(NOTIFICATIONMETHOD method,
                           std::string server,
                           int port,
                           bool need_auth,
                           std::string username,
                           std::string password,
                           bool ssl,
                           bool send_test_mail,
                           std::string email,
                           std::string email2) noexcept
    : method_(method),
      server_(std::move(server)),
      port_(port),
      need_auth_(need_auth),
      username_(std::move(username)),
      password_(std::move(password)),
      ssl_(ssl),
      send_test_mail_(send_test_mail),
      email_(std::move(email)),
      email2_(std::move(email2)) {}

int Notification::Reload() noexcept {
  const Stored stored = Read();
  if (stored == Stored::kReadFirst) WP_LOG("More than one notification entry");
  return stored == Stored::kNone ? -1 : 0;
}

Notification::Stored Notification::Read() noexcept {
  const watchpost::ResultPtr result =
      watchpost::Query(std::string("SELECT * FROM ") + gszTableNotification);
  if (result == nullptr) return Stored::kUnknown;
  if (ORVADBNumRows(result.get()) < 1) return Stored::kNone;
  watchpost::RowCursor rows(result.get());
  if (rows.Next()) PutRowIntoClassMember(result.get(), rows.Index());
  return ORVADBNumRows(result.get()) > 1 ? Stored::kReadFirst : Stored::kRead;
}

int Notification::Save() noexcept {
  Validate();
  if (WPDBExecute("DELETE FROM notification;") != 0) return -1;
  return watchpost::ExecuteStatement(watchpost::FormatStatement(
      "INSERT INTO notification (type, server, port, needauth, username, password, needssl, "
      "sendtestmail, email, email2) VALUES (%d, '%s', %d, '%d', '%s', '%s', '%d', '%d', '%s', "
      "'%s');",
      method_,
      WPDBEscapeString(server_).c_str(),
      port_,
      need_auth_,
      WPDBEscapeString(username_).c_str(),
      WPDBEscapeString(password_).c_str(),
      ssl_,
      send_test_mail_,
      WPDBEscapeString(email_).c_str(),
      WPDBEscapeString(email2_).c_str()));
}

void Notification::Validate() noexcept {
  CutText(server_, watchpost::kLongestHost);
  CutText(username_, watchpost::kLongestCredential);
  CutText(password_, watchpost::kLongestCredential);
  CutText(email_, watchpost::kLongestAddress);
  CutText(email2_, watchpost::kLongestAddress);
}

void Notification::PutRowIntoClassMember(__tag_DBResult* result, unsigned int row) noexcept {
  if (result == nullptr) return;
  const watchpost::Row values(result, row);
  method_ = static_cast<NOTIFICATIONMETHOD>(values.Int("type"));
  server_ = values.Text("server");
  port_ = values.Int("port");
  need_auth_ = values.Bool("needauth");
  username_ = values.Text("username");
  password_ = values.Text("password");
  ssl_ = values.Bool("needssl");
  send_test_mail_ = values.Bool("sendtestmail");
  email_ = values.Text("email");
  email2_ = values.Text("email2");
}
