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

  // Coefficients are keyed by (row, column): only those at or after the
  // first deleted row, or on a column after the first deleted column, get
  // new keys, so deleting the last rows or columns costs little.
  void deleted(bool rows, const std::vector<int> &idx) override {
    auto &coefs = p_.nl.coefs;
    std::vector<std::pair<std::pair<int, int>, NlCoef>> moved_coefs;
    if (rows) {
      auto it = coefs.lower_bound({idx.front(), kConstantCol - 1});
      while (it != coefs.end()) {
        const int row = it->first.first;
        if (!among(idx, row))
          moved_coefs.emplace_back(std::make_pair(moved(idx, row), it->first.second),
                                   std::move(it->second));
        it = coefs.erase(it);
      }
    } else {
      for (auto it = coefs.begin(); it != coefs.end();) {
        for (Token &t : it->second.formula)
          if (t.type == QSLP_TOK_COL && t.value > idx.front())
            t.value = moved(idx, static_cast<int>(t.value));
        const int col = it->first.second;
        if (col > idx.front()) {
          moved_coefs.emplace_back(std::make_pair(it->first.first, moved(idx, col)),
                                   std::move(it->second));
          it = coefs.erase(it);
        } else {
          ++it;
        }
      }
    }
    for (auto &c : moved_coefs) coefs.emplace(c.first, std::move(c.second));
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
