// Nonlinear coefficients follow the rows and columns of their main problem:
// deleting rows drops the coefficients of those rows and moves the others
// up; deleting columns moves the columns of coefficients and formulas down.
// A column that a coefficient still uses (as its column or inside its
// formula) cannot be deleted: dropping the coefficient silently would change
// the row's meaning, so the deletion is refused and names the coefficient.
#include <algorithm>
#include <iterator>

#include "nonlinear/nlp_model.h"
#include "nonlinear/slp_follow.h"

namespace qnda {

namespace {

bool among(const std::vector<int> &sorted, int j) {
  return std::binary_search(sorted.begin(), sorted.end(), j);
}

// The new index of j once the sorted indices are gone.
int moved(const std::vector<int> &sorted, int j) {
  return j - static_cast<int>(std::lower_bound(sorted.begin(), sorted.end(), j) - sorted.begin());
}

std::string row_text(const qslp_problem_s &p, int row) {
  if (row < 0) return "the objective";
  return "row " + p.main->model.name(QNDA_NAMES_ROWS, row);
}

class CoefFollower : public IndexFollower {
 public:
  explicit CoefFollower(qslp_problem_s &p) : p_(p) {}

  void check_delete(bool rows, const std::vector<int> &idx) override {
    if (rows) return;
    const NameScope scope = scope_of(p_);
    for (const auto &c : p_.nl.coefs) {
      const int row = c.first.first, col = c.first.second;
      int used = col >= 0 && among(idx, col) ? col : -1;
      for (const Token &t : c.second.formula)
        if (used < 0 && t.type == QSLP_TOK_COL && among(idx, static_cast<int>(t.value)))
          used = static_cast<int>(t.value);
      if (used >= 0)
        fail(QNDA_ERR_STATE,
             "column %s is used by the nonlinear coefficient of %s (column %s): delete that "
             "coefficient first",
             scope.column_name(used).c_str(), row_text(p_, row).c_str(),
             col >= 0 ? scope.column_name(col).c_str() : "constant");
    }
  }

  void deleted(bool rows, const std::vector<int> &idx) override {
    std::map<std::pair<int, int>, NlCoef> next;
    for (auto &c : p_.nl.coefs) {
      int row = c.first.first, col = c.first.second;
      if (rows) {
        if (row >= 0 && among(idx, row)) continue;
        if (row >= 0) row = moved(idx, row);
      } else {
        if (col >= 0) col = moved(idx, col);
        for (Token &t : c.second.formula)
          if (t.type == QSLP_TOK_COL) t.value = moved(idx, static_cast<int>(t.value));
      }
      next.emplace(std::make_pair(row, col), std::move(c.second));
    }
    p_.nl.coefs.swap(next);
    if (!rows && !p_.nl.start.empty()) {
      std::vector<double> start;
      for (int j = 0; j < static_cast<int>(p_.nl.start.size()); ++j)
        if (!among(idx, j)) start.push_back(p_.nl.start[j]);
      p_.nl.start.swap(start);
    }
    // The last solution no longer has the problem's shape.
    p_.sol = NlpSolution();
  }

 private:
  qslp_problem_s &p_;
};

}  // namespace

void follow_main(qslp_problem_s &p) {
  if (!p.main || !p.main->valid()) return;
  p.follower = std::make_unique<CoefFollower>(p);
  p.main->followers.push_back(p.follower.get());
}

void unfollow_main(qslp_problem_s &p) {
  if (p.follower && p.main && p.main->valid()) {
    auto &f = p.main->followers;
    f.erase(std::remove(f.begin(), f.end(), p.follower.get()), f.end());
  }
  p.follower.reset();
}

}  // namespace qnda
