#include "terminal/catcher.h"

#include <asio.hpp>
#include <set>
#include <thread>

#include "base/lines.h"
#include "base/testing.h"
#include "base/text.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;
using asio::ip::tcp;

// Sends everything at once and reads until the server hangs up.
std::string Converse(const asio::ip::address& address, std::uint16_t port, std::string_view said) {
  asio::io_context context;
  tcp::socket socket(context);
  asio::error_code error;
  socket.connect(tcp::endpoint(address, port), error);
  if (error) return "no connection: " + error.message();
  asio::write(socket, asio::buffer(said), error);
  std::string answers;
  asio::read(socket, asio::dynamic_buffer(answers), error);
  return answers;
}

std::string OneMessage(const std::string& recipient) {
  return "MAIL FROM:<a@example.org>\r\nRCPT TO:<" + recipient +
         ">\r\nRCPT TO:<all@example.org>\r\nBDAT 5 LAST\r\nhi\r\n.";
}

TEST(CatcherTest, StoresEveryMessageOfManyConnections) {
  constexpr int kConnections = 8;
  constexpr int kMessages = 50;
  TemporaryFolder folder;
  Result<Catcher> catcher = Catcher::Start({.maildir = folder / "mail"});
  ASSERT_TRUE(catcher.ok()) << catcher.status().text();
  std::thread server([&] { EXPECT_TRUE(catcher->Run().ok()); });

  std::vector<std::thread> clients;
  for (int c = 0; c < kConnections; ++c) {
    clients.emplace_back([&catcher, c] {
      std::string said = "EHLO me\r\n";
      for (int i = 0; i < kMessages; ++i) {
        said += OneMessage(std::to_string(c) + "." + std::to_string(i) + "@example.org");
      }
      const std::string answers =
          Converse(asio::ip::address_v4::loopback(), catcher->port(), said + "QUIT\r\n");
      EXPECT_TRUE(answers.ends_with("250 2.0.0 caught\r\n221 2.0.0 bye\r\n")) << answers;
    });
  }
  for (std::thread& client : clients) client.join();
  catcher->Stop();
  server.join();

  EXPECT_EQ(catcher->counts().connections, 8u);
  EXPECT_EQ(catcher->counts().messages, 400u);
  EXPECT_EQ(catcher->counts().recipients, 800u);
  EXPECT_TRUE(fs::is_empty(folder / "mail/tmp"));
  std::set<std::string> recipients;
  std::string envelopes = folder.Read("mail/envelopes.tsv");
  std::string_view rest = envelopes, line;
  while (NextLine(rest, line)) {
    const std::vector<std::string_view> columns = ModText::Split(line, '\t');
    ASSERT_EQ(columns.size(), 5u) << line;
    EXPECT_EQ(folder.Read("mail/new/" + std::string(columns[0])), "hi\r\n.");
    EXPECT_EQ(columns[2], "a@example.org");
    EXPECT_EQ(columns[4], "all@example.org");
    recipients.emplace(columns[3]);
  }
  EXPECT_EQ(recipients.size(), 400u);
}

TEST(CatcherTest, SaysThatAPortIsTaken) {
  Result<Catcher> first = Catcher::Start({});
  ASSERT_TRUE(first.ok()) << first.status().text();
  CatchOptions options;
  options.port = first->port();
  Result<Catcher> second = Catcher::Start(options);
  ASSERT_FALSE(second.ok());
  EXPECT_EQ(second.status().code(), Code::kUnavailable);
  EXPECT_NE(second.status().text().find(std::to_string(options.port)), std::string::npos);
}

TEST(CatcherTest, ListensOnLocalhostByEitherName) {
  Result<Catcher> catcher = Catcher::Start({});
  ASSERT_TRUE(catcher.ok());
  asio::io_context context;
  asio::error_code no_ipv6;
  tcp::acceptor probe(context);
  probe.open(tcp::v6(), no_ipv6);
  if (!no_ipv6) probe.bind({asio::ip::address_v6::loopback(), 0}, no_ipv6);
  if (no_ipv6) GTEST_SKIP() << "this machine has no ::1";
  std::thread server([&] { EXPECT_TRUE(catcher->Run().ok()); });
  EXPECT_TRUE(
      Converse(asio::ip::address_v6::loopback(), catcher->port(), "QUIT\r\n").starts_with("220 "));
  catcher->Stop();
  server.join();
}

}  // namespace
}  // namespace vespro
