// A run by hand with a full /tmp: the log is truncated when the disk is full, images are
// incomplete, and the sheets are unchanged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <random>

#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/raster_builder.h"
#include "tests/support/reference.h"

namespace {

using ::testing::StartsWith;

// A small file system mounted on a folder, visible only to this process and its children.
class SmallDisk {
 public:
  explicit SmallDisk(int kilobytes) {
    const std::string size = "size=" + std::to_string(kilobytes) + "k";
    mounted_ = unshare(CLONE_NEWNS) == 0 &&
               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount("none", folder_.path().c_str(), "tmpfs", 0, size.c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) {
      umount2(folder_.path().c_str(), MNT_DETACH);
    }
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  [[nodiscard]] bool is_mounted() const { return mounted_; }
  [[nodiscard]] const std::string& path() const { return folder_.path(); }

 private:
  ScratchFolder folder_;
  bool mounted_ = false;
};

class FullDisk : public ::testing::TestWithParam<int> {};

TEST_P(FullDisk, LosesLogLinesAndImagesButNoSheet) {
  const SmallDisk disk(GetParam());
  if (!disk.is_mounted()) {
    GTEST_SKIP() << "needs the right to mount a file system";
  }
  std::mt19937 random(9);
  RasterPage page = blank_page(page_header(50, 40));
  fill_with_gradient(page, random);
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = {"rastertok905", "1", "me", "t", "1", ""};
  setup.private_tmp = disk.path();
  setup.input = raster_stream({page, page});
  const ChildResult result = run_child(setup);

  ReferenceJob job;
  job.arguments = setup.arguments;
  job.input = setup.input;
  job.process_id = result.process_id;
  const ReferenceResult wanted = reference_run(job);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.log, "");
  EXPECT_TRUE(result.output == wanted.output);

  const std::vector<std::string> log =
      redacted_log(read_file(disk.path() + "/rastertok905_debug.log"));
  ASSERT_FALSE(log.empty());
  ASSERT_LT(log.size(), wanted.log.size()) << "the disk was not full";
  for (std::size_t i = 0; i + 1 < log.size(); ++i) {
    EXPECT_EQ(log[i], wanted.log[i]);
  }
  EXPECT_THAT(wanted.log[log.size() - 1], StartsWith(log.back()));
}

// On the first disk there is no space even for the settings in the log; the others are filled by
// the images of the first page.
INSTANTIATE_TEST_SUITE_P(Cli, FullDisk, ::testing::Values(4, 400, 20000));

}  // namespace
