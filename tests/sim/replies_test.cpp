#include "devtools/sim/replies.h"

#include <gtest/gtest.h>

namespace {

std::string info(const PrinterState& state, const std::string& name) {
  return reply_to(state, 0, "INFO", name).value_or("(nothing)");
}

TEST(Replies, NumbersAreAtTheOffsetsThatDriversRead) {
  PrinterState state;
  state.free_buffers = 3;
  state.initial = 400;
  state.remaining = 120;
  state.life = 7654321;
  state.matte = 89;
  EXPECT_EQ(reply_to(state, 1000, "STATUS", "")->substr(0, 5), "01000");
  EXPECT_EQ(info(state, "FREE_PBUFFER").substr(3, 2), "03");
  EXPECT_EQ(info(state, "MQTY_DEFAULT").substr(4, 4), "0400");
  EXPECT_EQ(reply_to(state, 0, "MNT_RD", "COUNTER_LIFE")->substr(2, 7), "7654321");
  EXPECT_EQ(reply_to(state, 0, "MNT_RD", "COUNTER_MATTE")->substr(4, 7), "0000089");
}

TEST(Replies, OnlyTheRv40CountsWithoutAReserve) {
  PrinterState state;
  state.remaining = 120;
  for (const char* model : {"K905", "RS-30"}) {
    state.model = model;
    EXPECT_EQ(info(state, "MQTY").substr(4, 4), "0170") << model;
  }
  for (const char* model : {"RV-40", "RV-40W"}) {
    state.model = model;
    EXPECT_EQ(info(state, "MQTY").substr(4, 4), "0120") << model;
  }
}

TEST(Replies, OnlyTheRv40ReportsHalfSizeMedia) {
  PrinterState state;
  state.half_size = 31;
  EXPECT_EQ(info(state, "RQTY"), "(nothing)");
  state.model = "RV-40W";
  EXPECT_EQ(info(state, "RQTY").substr(4, 4), "0031");
}

TEST(Replies, FirmwareNamesTheModel) {
  PrinterState state;
  state.model = "RV-40W";
  state.firmware = "2.10";
  EXPECT_EQ(info(state, "FVER"), "RV-40W 2.10");
}

TEST(Replies, HorizontalResolutionSelectsTheMode) {
  PrinterState state;
  EXPECT_EQ(info(state, "RESOLUTION_H"), "0300");
  state.resolution = "300x600";
  EXPECT_EQ(info(state, "RESOLUTION_H"), "0600");
  EXPECT_EQ(info(state, "RESOLUTION_V"), "0300");
}

TEST(Replies, TextsAreSentUnchanged) {
  PrinterState state;
  state.media = "5x7";
  state.serial = "ABC 1";
  state.color_version = "3.3";
  state.color_checksum = "BEEF";
  EXPECT_EQ(info(state, "MEDIA"), "5x7");
  EXPECT_EQ(info(state, "SERIAL_NUMBER"), "ABC 1");
  EXPECT_EQ(reply_to(state, 0, "TBL_RD", "Version"), "3.3");
  EXPECT_EQ(reply_to(state, 0, "MNT_RD", "CTRLD_CHKSUM"), "BEEF");
}

TEST(Replies, UnknownQuestionsGetNoAnswer) {
  const PrinterState state;
  EXPECT_EQ(reply_to(state, 0, "INFO", "WEATHER"), std::nullopt);
  EXPECT_EQ(reply_to(state, 0, "INFO", ""), std::nullopt);
  EXPECT_EQ(reply_to(state, 0, "TBL_RD", "FVER"), std::nullopt);
  EXPECT_EQ(reply_to(state, 0, "STATUS", "FVER"), std::nullopt);
}

TEST(Replies, FourGroupsAreQuestionsAndThoseOfAJobAreNot) {
  for (const char* group : {"STATUS", "INFO", "MNT_RD", "TBL_RD"}) {
    EXPECT_TRUE(is_question_group(group)) << group;
  }
  for (const char* group : {"IMAGE", "CNTRL", "", "INF"}) {
    EXPECT_FALSE(is_question_group(group)) << group;
  }
}

}  // namespace
