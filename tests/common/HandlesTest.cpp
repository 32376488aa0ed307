#include <fcntl.h>
#include <gtest/gtest.h>

#include "common/support/Handles.h"

using LedgoraCollect::FileDescriptor;

TEST(FileDescriptor, ClosesOnceAndMovesOwnership) {
  FileDescriptor first(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(first);
  const int number = first.get();
  {
    FileDescriptor second(std::move(first));
    EXPECT_FALSE(first);
    EXPECT_EQ(second.get(), number);
  }
  EXPECT_EQ(::fcntl(number, F_GETFD), -1);
}
