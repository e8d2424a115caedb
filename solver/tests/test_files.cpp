// Model files: the shared instances solved to their published values, MPS
// and LP round trips of everything the store holds, solution and basis files.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "test_solve_helpers.h"

using qtest::Prob;

namespace {

struct Instance {
  const char *file;
  bool mip;
  int status;  // LP or MIP status expected
  double value;
};

std::ostream &operator<<(std::ostream &os, const Instance &i) { return os << i.file; }

class Instances : public Prob, public ::testing::WithParamInterface<Instance> {};

TEST_P(Instances, SolveToThePublishedValue) {
  const Instance &in = GetParam();
  ASSERT_EQ(QNDAreadprob(p, qtest::instance(in.file).c_str(), ""), 0) << last_error();
  if (in.mip) {
    ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
    EXPECT_EQ(intattr(QNDA_MIPSTATUS), in.status);
    if (in.status == QNDA_MIP_OPTIMAL)
      EXPECT_NEAR(dblattr(QNDA_MIPOBJVAL), in.value, 1e-6 * (1 + std::fabs(in.value)));
  } else {
    ASSERT_EQ(QNDAlpoptimize(p, ""), 0) << last_error();
    EXPECT_EQ(intattr(QNDA_LPSTATUS), in.status);
    if (in.status == QNDA_LP_OPTIMAL)
      EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), in.value, 1e-6 * (1 + std::fabs(in.value)));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shared, Instances,
    ::testing::Values(Instance{"afiro.mps", false, QNDA_LP_OPTIMAL, -464.75314286},
                      Instance{"adlittle.mps", false, QNDA_LP_OPTIMAL, 225494.96316},
                      Instance{"blending.mps", false, QNDA_LP_OPTIMAL, -3200},
                      Instance{"standata.mps", false, QNDA_LP_OPTIMAL, 1257.6995},
                      Instance{"standmps.mps", false, QNDA_LP_OPTIMAL, 1406.0175},
                      Instance{"woodinfe.mps", false, QNDA_LP_INFEAS, 0},
                      Instance{"gas11.mps", false, QNDA_LP_UNBOUNDED, 0},
                      Instance{"small_mip.mps", true, QNDA_MIP_OPTIMAL, 3.2368421},
                      Instance{"flugpl.mps", true, QNDA_MIP_OPTIMAL, 1201500},
                      Instance{"egout.mps", true, QNDA_MIP_OPTIMAL, 568.1007},
                      Instance{"lseu.mps", true, QNDA_MIP_OPTIMAL, 1120},
                      Instance{"qjh.mps", false, QNDA_LP_OPTIMAL, -5.25}),
    [](const ::testing::TestParamInfo<Instance> &i) {
      std::string s = i.param.file;
      return s.substr(0, s.find('.'));
    });

class Files : public Prob {
 protected:
  std::string tmp(const char *name) {
    std::string d = ::testing::TempDir();
    if (!d.empty() && d.back() != '/') d += '/';
    std::string f = d + "qnda_s2_" + std::to_string(getpid()) + "_" + name;
    made.push_back(f);
    return f;
  }
  void TearDown() override {
    for (auto &f : made) std::remove(f.c_str());
    Prob::TearDown();
  }
  std::vector<std::string> made;
};

TEST_F(Files, QjhSolutionPoint) {
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("qjh.mps").c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  std::vector<double> v = x();
  ASSERT_EQ(v.size(), 3u);
  EXPECT_NEAR(v[0], 0.5, 1e-5);
  EXPECT_NEAR(v[1], 5.0, 1e-5);
  EXPECT_NEAR(v[2], 1.5, 1e-5);
}

TEST_F(Files, SemiContinuousInstanceReadsItsThreshold) {
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("semi-continuous.mps").c_str(), ""), 0) << last_error();
  int x3 = -1;
  ASSERT_EQ(QNDAgetindex(p, QNDA_NAMES_COLUMNS, "x3", &x3), 0);
  ASSERT_EQ(x3, 2);
  char t;
  double ub;
  ASSERT_EQ(QNDAgetcoltype(p, &t, x3, x3), 0);
  EXPECT_EQ(t, 'R');  // an integer column with an SC bound is semi-integer
  ASSERT_EQ(QNDAgetub(p, &ub, x3, x3), 0);
  EXPECT_EQ(ub, 10);
  int nent = 0, nsets = 0;
  std::vector<char> types(4);
  std::vector<int> cols(4);
  std::vector<double> lim(4);
  ASSERT_EQ(QNDAgetglobal64(p, &nent, &nsets, types.data(), cols.data(), lim.data(), nullptr,
                            nullptr, nullptr, nullptr, 0, nullptr),
            0)
      << last_error();
  ASSERT_EQ(nent, 1);
  EXPECT_EQ(lim[0], 1.1);
  ASSERT_EQ(QNDAmipoptimize(p, ""), 0) << last_error();
  EXPECT_EQ(intattr(QNDA_MIPSTATUS), QNDA_MIP_OPTIMAL);
  std::vector<double> v(4);
  ASSERT_EQ(QNDAgetmipsol(p, v.data(), nullptr), 0);
  EXPECT_TRUE(v[2] == 0 || (v[2] >= 2 - 1e-9 && std::fabs(v[2] - std::round(v[2])) < 1e-9)) << v[2];
}

TEST_F(Files, ReadingAMissingOrBrokenFileKeepsTheProblem) {
  load({1}, {{1}}, "L", {1});
  EXPECT_EQ(QNDAreadprob(p, "/nonexistent/model.mps", ""), QNDA_ERR_FILE);
  EXPECT_EQ(intattr(QNDA_COLS), 1);
  std::string f = tmp("broken.mps");
  std::ofstream(f) << "NAME x\nROWS\n N obj\n L c1\nCOLUMNS\n    x1 c9 1\nENDATA\n";
  EXPECT_EQ(QNDAreadprob(p, f.c_str(), ""), QNDA_ERR_FILE);
  EXPECT_NE(last_error().find("line 6: unknown row: c9"), std::string::npos) << last_error();
  EXPECT_EQ(intattr(QNDA_COLS), 1);
}

// A model with every feature of the store.
void build_full_model(QNDAprob p) {
  // 6 columns, 5 rows: L, G, E, R, N.
  const char types[] = "LGERN";
  const double rhs[] = {10, 1, 3, 8, 0};
  const double range[] = {0, 0, 0, 5, 0};
  const double obj[] = {1, -2, 0.5, 0, 3, 1.25};
  const int start[] = {0, 2, 4, 5, 6, 8, 9};
  const int rowind[] = {0, 1, 0, 2, 3, 4, 0, 3, 1};
  const double val[] = {1, 2, 1.5, 1, 1, 7, -1, 2, 0.1};
  const double lb[] = {-1e20, 0, 0, 0, 1, 0};
  const double ub[] = {4, 1, 1e20, 20, 1e20, 9};
  ASSERT_EQ(QNDAloadlp(p, "full model", 6, 5, types, rhs, range, obj, start, nullptr, rowind, val,
                       lb, ub),
            0);
  const int cols[] = {1, 2, 3, 5};
  ASSERT_EQ(QNDAchgcoltype(p, 4, cols, "BISP"), 0);
  const int lcols[] = {3, 5};
  const double lims[] = {2.5, 4};
  ASSERT_EQ(QNDAchgglblimit(p, 2, lcols, lims), 0);
  int k = -1;
  double c = 7.5;
  ASSERT_EQ(QNDAchgobj(p, 1, &k, &c), 0);
  ASSERT_EQ(QNDAchgobjsense(p, -1), 0);
  const int q1[] = {0, 0, 4}, q2[] = {0, 4, 4};
  const double qv[] = {-1, 0.5, -2};
  ASSERT_EQ(QNDAchgmqobj(p, 3, q1, q2, qv), 0);
  const int r1[] = {2, 0}, r2[] = {2, 4};
  const double rv[] = {1, 3};
  ASSERT_EQ(QNDAaddqmatrix(p, 0, 2, r1, r2, rv), 0);
  const char stypes[] = "12";
  const int sstart[] = {0, 2, 5};
  const int scol[] = {0, 4, 0, 4, 5};
  const double sref[] = {1, 2, 1, 2, 3};
  ASSERT_EQ(QNDAaddsets(p, 2, 5, stypes, sstart, scol, sref), 0);
  const int irow[] = {1}, icol[] = {1}, icomp[] = {-1};
  ASSERT_EQ(QNDAsetindicators(p, 1, irow, icol, icomp), 0);
  const char rn[] = "cap\0dem\0bal\0rng\0free";
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_ROWS, rn, 0, 4), 0);
  const char cn[] = "x\0b\0n\0s\0f\0p";
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, cn, 0, 5), 0);
  const char sn[] = "first\0second";
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_SETS, sn, 0, 1), 0);
}

// Everything observable through the query calls, as text.
std::string dump(QNDAprob p) {
  std::ostringstream os;
  os.precision(17);
  int n = 0, m = 0;
  QNDAgetintattrib(p, QNDA_COLS, &n);
  QNDAgetintattrib(p, QNDA_ROWS, &m);
  os << "cols " << n << " rows " << m << "\n";
  std::vector<double> lb(n), ub(n), obj(n), rhs(m), rng(m);
  std::vector<char> ct(n + 1), rt(m + 1);
  if (n) {
    QNDAgetlb(p, lb.data(), 0, n - 1);
    QNDAgetub(p, ub.data(), 0, n - 1);
    QNDAgetobj(p, obj.data(), 0, n - 1);
    QNDAgetcoltype(p, ct.data(), 0, n - 1);
  }
  if (m) {
    QNDAgetrhs(p, rhs.data(), 0, m - 1);
    QNDAgetrhsrange(p, rng.data(), 0, m - 1);
    QNDAgetrowtype(p, rt.data(), 0, m - 1);
  }
  for (int j = 0; j < n; ++j)
    os << "c" << j << " " << ct[j] << " " << lb[j] << " " << ub[j] << " " << obj[j] << "\n";
  for (int i = 0; i < m; ++i) {
    os << "r" << i << " " << rt[i] << " " << rhs[i];
    if (rt[i] == 'R') os << " " << rng[i];
    os << "\n";
  }
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) {
      double a = 0;
      QNDAgetcoef(p, i, j, &a);
      if (a != 0) os << "a " << i << " " << j << " " << a << "\n";
    }
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j) {
      double q = 0;
      QNDAgetqobj(p, i, j, &q);
      if (q != 0) os << "q " << i << " " << j << " " << q << "\n";
      for (int r = 0; r < m; ++r) {
        double v = 0;
        QNDAgetqrowcoeff(p, r, i, j, &v);
        if (v != 0) os << "qr " << r << " " << i << " " << j << " " << v << "\n";
      }
    }
  double k = 0;
  QNDAgetdblattrib(p, QNDA_OBJCONSTANT, &k);
  int sense = 0;
  QNDAgetintattrib(p, QNDA_OBJSENSE_ATTR, &sense);
  os << "const " << k << " sense " << sense << "\n";
  int nent = 0, nsets = 0;
  QNDAint64 nse = 0;
  QNDAgetglobal64(p, &nent, &nsets, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                  0, &nse);
  std::vector<char> et(nent + 1), st(nsets + 1);
  std::vector<int> ec(nent + 1), sc(nse + 1);
  std::vector<double> el(nent + 1), sr(nse + 1);
  std::vector<QNDAint64> ss(nsets + 1);
  QNDAgetglobal64(p, &nent, &nsets, et.data(), ec.data(), el.data(), st.data(), ss.data(),
                  sc.data(), sr.data(), nse, &nse);
  for (int e = 0; e < nent; ++e) os << "ent " << ec[e] << " " << et[e] << " " << el[e] << "\n";
  for (int s = 0; s < nsets; ++s) {
    os << "set " << st[s] << ":";
    for (QNDAint64 q = ss[s]; q < ss[s + 1]; ++q) os << " " << sc[q] << "/" << sr[q];
    os << "\n";
  }
  if (m) {
    std::vector<int> ic(m), icomp(m);
    QNDAgetindicators(p, ic.data(), icomp.data(), 0, m - 1);
    for (int i = 0; i < m; ++i)
      if (icomp[i]) os << "ind " << i << " " << ic[i] << " " << icomp[i] << "\n";
  }
  for (int kind : {QNDA_NAMES_ROWS, QNDA_NAMES_COLUMNS, QNDA_NAMES_SETS}) {
    int cnt = kind == QNDA_NAMES_ROWS ? m : kind == QNDA_NAMES_COLUMNS ? n : nsets;
    if (!cnt) continue;
    int need = 0;
    QNDAgetnames(p, kind, nullptr, 0, &need, 0, cnt - 1);
    std::vector<char> buf(need + 1);
    QNDAgetnames(p, kind, buf.data(), need, nullptr, 0, cnt - 1);
    os << "names";
    for (const char *s = buf.data(); s < buf.data() + need && *s; s += std::strlen(s) + 1)
      os << " " << s;
    os << "\n";
  }
  return os.str();
}

class MpsRoundTrip : public Files, public ::testing::WithParamInterface<const char *> {};

TEST_P(MpsRoundTrip, KeepsEverythingTheStoreHolds) {
  build_full_model(p);
  const std::string before = dump(p);
  for (const char *want : {"ind 1 1 -1", "ent 5 P 4", "ent 3 S 2.5", "set 2: 0/1 4/2 5/3",
                           "qr 0 0 4 3", "q 0 4 0.5", "names x b n s f p", "names first second",
                           "r3 R 8 5", "const 7.5 sense -1", "c0 C -1e+20 4"})
    EXPECT_NE(before.find(want), std::string::npos) << want << "\n" << before;
  std::string f = tmp("full.mps");
  ASSERT_EQ(QNDAwriteprob(p, f.c_str(), GetParam()), 0) << last_error();
  QNDAprob q = nullptr;
  ASSERT_EQ(QNDAcreateprob(&q), 0);
  ASSERT_EQ(QNDAreadprob(q, f.c_str(), ""), 0) << last_error();
  EXPECT_EQ(dump(q), before);
  char name[64];
  QNDAgetprobname(q, name, sizeof name, nullptr);
  EXPECT_STREQ(name, "full model");
  QNDAdestroyprob(q);
}

INSTANTIATE_TEST_SUITE_P(FreeAndFixed, MpsRoundTrip, ::testing::Values("", "o"));

TEST_F(Files, NamesWithSpacesNeedFixedFormat) {
  load({1, 2}, {{1, 1}, {1, -1}}, "GL", {1, 3});
  const char cn[] = "x one\0y two";
  const char rn[] = "row a\0row b";
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_COLUMNS, cn, 0, 1), 0);
  ASSERT_EQ(QNDAaddnames(p, QNDA_NAMES_ROWS, rn, 0, 1), 0);
  const std::string before = dump(p);
  std::string f = tmp("spaces.mps");
  EXPECT_EQ(QNDAwriteprob(p, f.c_str(), ""), QNDA_ERR_FILE);
  EXPECT_NE(last_error().find("holds a space"), std::string::npos) << last_error();
  ASSERT_EQ(QNDAwriteprob(p, f.c_str(), "o"), 0) << last_error();
  ASSERT_EQ(QNDAreadprob(p, f.c_str(), ""), 0) << last_error();  // found to be fixed
  EXPECT_EQ(dump(p), before);
  int j = -1;
  ASSERT_EQ(QNDAgetindex(p, QNDA_NAMES_COLUMNS, "y two", &j), 0);
  EXPECT_EQ(j, 1);
}

TEST_F(Files, InstancesRoundTripThroughOurWriter) {
  for (const char *inst : {"afiro.mps", "egout.mps", "qjh.mps"}) {
    SCOPED_TRACE(inst);
    ASSERT_EQ(QNDAreadprob(p, qtest::instance(inst).c_str(), ""), 0) << last_error();
    const std::string before = dump(p);
    std::string f = tmp("inst.mps");
    ASSERT_EQ(QNDAwriteprob(p, f.c_str(), ""), 0) << last_error();
    ASSERT_EQ(QNDAreadprob(p, f.c_str(), ""), 0) << last_error();
    EXPECT_EQ(dump(p), before);
  }
}

TEST_F(Files, LpFormatRoundTripOfAQpAndAMip) {
  for (const char *inst : {"qjh.mps", "flugpl.mps"}) {
    SCOPED_TRACE(inst);
    ASSERT_EQ(QNDAreadprob(p, qtest::instance(inst).c_str(), ""), 0) << last_error();
    std::string f = tmp("model.lp");
    ASSERT_EQ(QNDAwriteprob(p, f.c_str(), "l"), 0) << last_error();
    QNDAprob q = nullptr;
    ASSERT_EQ(QNDAcreateprob(&q), 0);
    QNDAsetintcontrol(q, QNDA_OUTPUTLOG, 0);
    ASSERT_EQ(QNDAreadprob(q, f.c_str(), ""), 0);
    int n1 = 0, n2 = 0;
    QNDAgetintattrib(p, QNDA_COLS, &n1);
    QNDAgetintattrib(q, QNDA_COLS, &n2);
    EXPECT_EQ(n1, n2);
    ASSERT_EQ(QNDAmipoptimize(p, ""), 0);
    ASSERT_EQ(QNDAmipoptimize(q, ""), 0);
    double o1 = 0, o2 = 0;
    QNDAgetdblattrib(p, QNDA_OBJVAL, &o1);
    QNDAgetdblattrib(q, QNDA_OBJVAL, &o2);
    EXPECT_NEAR(o1, o2, 1e-6 * (1 + std::fabs(o1)));
    QNDAdestroyprob(q);
  }
  build_full_model(p);
  EXPECT_EQ(QNDAwriteprob(p, tmp("full.lp").c_str(), "l"), QNDA_ERR_UNSUPPORTED);
  EXPECT_NE(last_error().find("write MPS instead"), std::string::npos) << last_error();
}

TEST_F(Files, SolutionFiles) {
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("afiro.mps").c_str(), ""), 0);
  EXPECT_EQ(QNDAwritesol(p, tmp("none.csv").c_str(), ""), QNDA_ERR_STATE);
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  std::string csv = tmp("afiro.csv"), prt = tmp("afiro.prt"), slx = tmp("afiro.slx");
  ASSERT_EQ(QNDAwritesol(p, csv.c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAwriteprtsol(p, prt.c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAwriteslxsol(p, slx.c_str(), ""), 0) << last_error();
  std::ifstream c(csv);
  std::string line;
  int lines = 0;
  bool x39 = false;
  while (std::getline(c, line)) {
    ++lines;
    x39 = x39 || line.rfind("\"C\",0,\"X01\",", 0) == 0;
  }
  EXPECT_EQ(lines, 1 + 32 + 27);
  EXPECT_TRUE(x39);
  std::ifstream r(prt);
  std::stringstream all;
  all << r.rdbuf();
  EXPECT_NE(all.str().find("-464.75314"), std::string::npos);
  // slx back as a MIP start/LP start: the same optimum.
  ASSERT_EQ(QNDAreadslxsol(p, slx.c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, ""), 0);
  EXPECT_NEAR(dblattr(QNDA_LPOBJVAL), -464.75314286, 1e-6);
}

TEST_F(Files, BasisFileRoundTrip) {
  ASSERT_EQ(QNDAreadprob(p, qtest::instance("adlittle.mps").c_str(), ""), 0);
  ASSERT_EQ(QNDAlpoptimize(p, "d"), 0);
  const int n = intattr(QNDA_COLS), m = intattr(QNDA_ROWS);
  std::vector<int> rs(m), cs(n);
  ASSERT_EQ(QNDAgetbasis(p, rs.data(), cs.data()), 0);
  std::string f = tmp("adlittle.bss");
  ASSERT_EQ(QNDAwritebasis(p, f.c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAreadbasis(p, f.c_str(), ""), 0) << last_error();
  ASSERT_EQ(QNDAlpoptimize(p, "p"), 0);
  EXPECT_EQ(intattr(QNDA_SIMPLEXITER), 0);
  std::vector<int> rs2(m), cs2(n);
  ASSERT_EQ(QNDAgetbasis(p, rs2.data(), cs2.data()), 0);
  EXPECT_EQ(cs2, cs);
}

}  // namespace
