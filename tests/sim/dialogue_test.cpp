#include "devtools/sim/dialogue.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/wire/stream_dump.h"
#include "tests/support/wire_stream.h"

namespace {

// A client, and what the printer recognizes in its bytes.
class Client {
 public:
  Client()
      : dialogue_({.question = [this](const auto& group,
                                      const auto& name) { events.push_back(group + "/" + name); },
                   .sheet =
                       [this](k905::Sheet&& sheet) {
                         events.push_back("sheet " + std::to_string(sheet.width) + "x" +
                                          std::to_string(sheet.height));
                       },
                   .protocol_error =
                       [this](const k905::StreamError& error) {
                         events.push_back("protocol error at " + std::to_string(error.offset));
                       }}) {}

  Client& send(const std::string& bytes, std::size_t piece = 1U << 20) {
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
      const std::string part = bytes.substr(at, piece);
      dialogue_.receive(reinterpret_cast<const std::uint8_t*>(part.data()), part.size());
    }
    return *this;
  }
  Client& disconnect() {
    dialogue_.end();
    return *this;
  }
  [[nodiscard]] bool inside_sheet() const { return dialogue_.inside_sheet(); }

  std::vector<std::string> events;

 private:
  Dialogue dialogue_;
};

using Events = std::vector<std::string>;

const std::string kBlanks = "        ";

std::string question(const std::string& group, const std::string& name) {
  return wire_command(group, name, kBlanks);
}

TEST(Dialogue, QuestionsAndSheetsAreDistinguished) {
  const std::string stream = question("STATUS", "") + wire_sheet({}) + question("INFO", "MQTY") +
                             wire_sheet({}) + question("TBL_RD", "Version");
  EXPECT_EQ(Client().send(stream).disconnect().events,
            (Events{"STATUS/", "sheet 3x2", "INFO/MQTY", "sheet 3x2", "TBL_RD/Version"}));
}

TEST(Dialogue, PiecesOfAnySizeMakeNoDifference) {
  const std::string stream = question("STATUS", "") + wire_sheet({}) + question("INFO", "MQTY");
  for (const std::size_t piece : {1, 2, 3, 31, 32, 33, 1000}) {
    EXPECT_EQ(Client().send(stream, piece).disconnect().events,
              (Events{"STATUS/", "sheet 3x2", "INFO/MQTY"}))
        << piece;
  }
}

TEST(Dialogue, PixelsThatLookLikeAQuestionAreNotAnswered) {
  // The pixels are exactly the bytes of a question.
  const std::string words = question("STATUS", "");
  SheetContent sheet{.width = 32, .height = 1};
  for (auto& plane : sheet.plane) {
    plane.assign(words.begin(), words.end());
  }
  EXPECT_EQ(Client().send(wire_sheet(sheet)).disconnect().events, Events{"sheet 32x1"});
}

TEST(Dialogue, QuestionBetweenTheBlocksOfASheetIsAnswered) {
  const std::string sheet = wire_sheet({});
  // A block and an image of 1088 + 6 bytes; the block of M follows.
  const std::size_t first_plane = 32 + 1094;
  Client client;
  client.send(sheet.substr(0, first_plane)).send(question("STATUS", ""));
  EXPECT_TRUE(client.inside_sheet());
  client.send(sheet.substr(first_plane)).disconnect();
  EXPECT_FALSE(client.inside_sheet());
  EXPECT_EQ(client.events, (Events{"STATUS/", "sheet 3x2"}));
}

TEST(Dialogue, ProtocolErrorIsReportedOnceAndTheRestIsIgnored) {
  Client client;
  client.send("Hello, is this the printer? I'd like to have my holiday photographs, please.")
      .send(wire_sheet({}))
      .disconnect();
  EXPECT_EQ(client.events, Events{"protocol error at 0"});
}

TEST(Dialogue, ClientThatDisconnectsInsideASheetIsReported) {
  const std::string sheet = wire_sheet({});
  for (const std::size_t kept :
       {std::size_t{1}, std::size_t{31}, std::size_t{32}, std::size_t{500}, sheet.size() - 1}) {
    const Events events = Client().send(sheet.substr(0, kept)).disconnect().events;
    ASSERT_EQ(events.size(), 1U) << kept;
    EXPECT_TRUE(events[0].starts_with("protocol error at ")) << kept;
  }
}

TEST(Dialogue, ClientMayDisconnectBetweenSheets) {
  EXPECT_EQ(Client().disconnect().events, Events{});
  EXPECT_EQ(Client().send(wire_sheet({})).disconnect().events, Events{"sheet 3x2"});
}

}  // namespace
