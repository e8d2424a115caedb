#include <gtest/gtest.h>

#include "qnda.h"

TEST(Environment, VersionIsDotted) {
  char buf[QNDA_MAXVERSIONLENGTH] = {0};
  ASSERT_EQ(QNDAinit(nullptr), 0);
  ASSERT_EQ(QNDAgetversion(buf), 0);
  EXPECT_STREQ(buf, "34.01.00");
  ASSERT_EQ(QNDAfree(), 0);
}
