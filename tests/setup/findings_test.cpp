// The output of k905-setup: findings as text and as JSON.
#include "apps/setup/findings.h"

#include <gtest/gtest.h>

namespace {

using namespace k905;

TEST(Findings, AsTextEndWithTheResult) {
  Findings findings;
  findings.ok("all filters");
  EXPECT_EQ(as_text("photo", findings), "ok       all filters\nphoto: ready to print\n");
  findings.note("job 7 is held", "lp -i photo-7 -H resume");
  findings.problem("the queue has been stopped", "cupsenable photo");
  EXPECT_EQ(as_text("photo", findings),
            "ok       all filters\n"
            "note     job 7 is held\n"
            "         -> lp -i photo-7 -H resume\n"
            "PROBLEM  the queue has been stopped\n"
            "         -> cupsenable photo\n"
            "photo: 1 problem\n");
}

TEST(Findings, AsJsonAreOneLine) {
  Findings findings;
  findings.ok("all filters");
  findings.problem("job 7 (\"a\nb\") is stuck", "restart it");
  EXPECT_EQ(as_json("photo", findings),
            R"({"queue":"photo","ready":false,"problems":1,"findings":[)"
            R"({"level":"ok","text":"all filters"},)"
            R"({"level":"problem","text":"job 7 (\"a\nb\") is stuck","advice":"restart it"}]})"
            "\n");
}

TEST(Findings, AsJsonAreValidForAnyJobName) {
  Findings findings;
  findings.note("job 7 (\xff\x01) is held");
  EXPECT_EQ(as_json("photo", findings),
            "{\"queue\":\"photo\",\"ready\":true,\"problems\":0,\"findings\":["
            "{\"level\":\"note\",\"text\":\"job 7 (\xEF\xBF\xBD\\u0001) is held\"}]}\n");
}

}  // namespace
