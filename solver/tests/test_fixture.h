// What most library tests start from: the library initialised around one
// problem, which is destroyed (and the library freed) at the end, and the
// shape of a refused call for the tables of bad arguments.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "qnda.h"

namespace qtest {

class OneProblem : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(QNDAinit(nullptr), 0);
    ASSERT_EQ(QNDAcreateprob(&p), 0);
  }
  void TearDown() override {
    EXPECT_EQ(QNDAdestroyprob(p), 0);
    EXPECT_EQ(QNDAfree(), 0);
  }
  std::string last_error(int *code = nullptr) {
    char buf[QNDA_MAXMESSAGELENGTH] = {0};
    QNDAgetlasterror(p, code, buf, sizeof buf, nullptr);
    return buf;
  }
  QNDAprob p = nullptr;
};

// A call that must be refused with code and exactly this message.
struct Refused {
  const char *what;
  int (*call)(QNDAprob);
  int code;
  const char *message;
};

// Test names from the cases' what.
inline std::string refused_name(const ::testing::TestParamInfo<Refused> &info) {
  std::string s = info.param.what;
  for (char &c : s)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return s;
}

}  // namespace qtest
