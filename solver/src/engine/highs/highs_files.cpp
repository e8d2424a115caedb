// LP-format files through HiGHS's reader and writer.
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

#include "Highs.h"
#include "core/error.h"
#include "engine/engine.h"
#include "engine/highs/highs_common.h"

namespace qnda {
namespace {

bool ends_with(const std::string &s, const std::string &suffix) {
  return s.size() >= suffix.size() &&
         s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// HiGHS picks the format from the file name; a name of another shape goes
// through a temporary file with the right extension.
std::string temp_lp_name() {
  char buf[] = "/tmp/qndaXXXXXX";
  int fd = mkstemp(buf);
  if (fd < 0) fail(QNDA_ERR_FILE, "Cannot create a temporary file");
  close(fd);
  std::remove(buf);
  return std::string(buf) + ".lp";
}

bool copy_file(const std::string &from, const std::string &to) {
  std::ifstream in(from, std::ios::binary);
  if (!in) return false;
  std::ofstream out(to, std::ios::binary);
  if (!out) return false;
  out << in.rdbuf();
  return static_cast<bool>(out);
}

}  // namespace

void engine_read_lp_file(const std::string &path, FileModel &out) {
  std::string name = path;
  bool temp = false;
  if (!ends_with(path, ".lp") && !ends_with(path, ".lp.gz")) {
    name = temp_lp_name();
    if (!copy_file(path, name)) {
      std::remove(name.c_str());
      fail(QNDA_ERR_FILE, "Cannot read file %s", path.c_str());
    }
    temp = true;
  }
  Highs h;
  h.setOptionValue("output_flag", false);
  HighsStatus st = h.readModel(name);
  if (temp) std::remove(name.c_str());
  if (st == HighsStatus::kError) fail(QNDA_ERR_FILE, "Cannot read LP file %s", path.c_str());
  const HighsModel &hm = h.getModel();
  copy_from(hm, out.model);
  out.name = hm.lp_.model_name_;
  out.col_names = hm.lp_.col_names_;
  out.row_names = hm.lp_.row_names_;
  out.q1.clear();
  out.q2.clear();
  out.qcoef.clear();
  const FlatModel &m = out.model;
  for (int j = 0; j + 1 < static_cast<int>(m.qstart.size()); ++j)
    for (int k = m.qstart[j]; k < m.qstart[j + 1]; ++k) {
      int i = m.qindex[k];
      out.q1.push_back(j);
      out.q2.push_back(i);
      // 0.5 x'Qx: a diagonal entry is twice the monomial coefficient.
      out.qcoef.push_back(i == j ? 0.5 * m.qvalue[k] : m.qvalue[k]);
    }
}

void engine_write_lp_file(const std::string &path, const FileModel &in) {
  FlatModel m = in.model;
  m.qstart.clear();
  m.qindex.clear();
  m.qvalue.clear();
  if (!in.q1.empty()) {
    // Monomials to the lower triangle of Q, column-wise.
    std::vector<int> count(m.ncols + 1, 0);
    for (size_t k = 0; k < in.q1.size(); ++k) ++count[std::min(in.q1[k], in.q2[k]) + 1];
    m.qstart.assign(m.ncols + 1, 0);
    for (int j = 0; j < m.ncols; ++j) m.qstart[j + 1] = m.qstart[j] + count[j + 1];
    m.qindex.resize(in.q1.size());
    m.qvalue.resize(in.q1.size());
    std::vector<int> pos(m.qstart.begin(), m.qstart.end() - 1);
    for (size_t k = 0; k < in.q1.size(); ++k) {
      int a = std::min(in.q1[k], in.q2[k]), b = std::max(in.q1[k], in.q2[k]);
      int p = pos[a]++;
      m.qindex[p] = b;
      m.qvalue[p] = a == b ? 2.0 * in.qcoef[k] : in.qcoef[k];
    }
  }
  HighsModel hm;
  move_into(m, hm, true);
  hm.lp_.model_name_ = in.name;
  hm.lp_.col_names_ = in.col_names;
  hm.lp_.row_names_ = in.row_names;
  Highs h;
  h.setOptionValue("output_flag", false);
  if (h.passModel(std::move(hm)) == HighsStatus::kError)
    fail(QNDA_ERR_FILE, "Cannot write LP file %s: the model was refused", path.c_str());
  std::string name = ends_with(path, ".lp") ? path : temp_lp_name();
  HighsStatus st = h.writeModel(name);
  if (name != path) {
    bool ok = st != HighsStatus::kError && copy_file(name, path);
    std::remove(name.c_str());
    if (!ok) fail(QNDA_ERR_FILE, "Cannot write file %s", path.c_str());
  } else if (st == HighsStatus::kError) {
    fail(QNDA_ERR_FILE, "Cannot write file %s", path.c_str());
  }
}

}  // namespace qnda
