#include "ordering/reference_engine.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <list>
#include <map>
#include <numeric>

namespace qztest {
namespace {

size_t at(int32_t i) {
  return static_cast<size_t>(i);
}

enum class Kind { variable, element, absorbed, dense, isolated };

struct Node {
  Kind kind = Kind::variable;
  std::vector<int32_t> elements;   // of a variable
  std::vector<int32_t> variables;  // of a variable: its own edges; of an element: its members
  int64_t count = 1;
  int64_t degree = 0;
  int64_t score = 0;
  int64_t front = 1;
  int32_t parent = -1;
};

class Reference {
 public:
  Reference(const Graph& graph, const ReferenceRules& rules) : n_(graph.n), rules_(rules), nodes_(at(graph.n)) {
    for (int32_t v = 0; v < n_; ++v) {
      Node& node = nodes_[at(v)];
      node.variables.assign(graph.list.begin() + graph.begin[at(v)], graph.list.begin() + graph.begin[at(v) + 1]);
      const int64_t d = graph.degree(v);
      node.degree = d;
      node.score = d < 46341 ? d * (d - 1) / 2 : INT32_MAX;
      if (d == 0) node.kind = Kind::isolated;
      if (d > 0 && rules.dense[at(v)]) node.kind = Kind::dense;
      if (node.kind != Kind::variable) ++eliminated_;
    }
  }

  std::vector<int32_t> run() {
    std::vector<int32_t> sequence(at(n_));
    std::iota(sequence.begin(), sequence.end(), 0);
    const auto group = [&](int32_t v) { return rules_.groups.empty() ? 0 : rules_.groups[at(v)]; };
    std::stable_sort(sequence.begin(), sequence.end(), [&](int32_t a, int32_t b) { return group(a) < group(b); });
    for (size_t next = 0; next < sequence.size();) {
      current_ = group(sequence[next]);
      for (; next < sequence.size() && group(sequence[next]) == current_; ++next) {
        if (nodes_[at(sequence[next])].kind == Kind::variable) insert(sequence[next]);
      }
      while (!buckets_.empty()) eliminate(takePivot());
    }
    return finish(sequence);
  }

 private:
  [[nodiscard]] bool isCurrent(int32_t v) const { return rules_.groups.empty() || rules_.groups[at(v)] == current_; }
  [[nodiscard]] bool sameGroup(int32_t a, int32_t b) const {
    return rules_.groups.empty() || rules_.groups[at(a)] == rules_.groups[at(b)];
  }
  [[nodiscard]] int64_t key(int32_t v) const {
    const Node& node = nodes_[at(v)];
    return rules_.byFill ? std::min<int64_t>(node.score, n_) : node.degree;
  }
  void insert(int32_t v) { buckets_[key(v)].push_front(v); }
  void remove(int32_t v) {
    const auto bucket = buckets_.find(key(v));
    bucket->second.remove(v);
    if (bucket->second.empty()) buckets_.erase(bucket);
  }

  int32_t takePivot() {
    const auto& bucket = buckets_.begin()->second;
    auto best = bucket.begin();
    if (rules_.byFill && buckets_.begin()->first == n_) {
      best = std::min_element(bucket.begin(), bucket.end(),
                              [&](int32_t a, int32_t b) { return nodes_[at(a)].score < nodes_[at(b)].score; });
    }
    const int32_t pivot = *best;
    remove(pivot);
    return pivot;
  }

  [[nodiscard]] bool isMember(int32_t v) const { return std::find(lp_.begin(), lp_.end(), v) != lp_.end(); }
  void join(const std::vector<int32_t>& list, int32_t pivot) {
    for (const int32_t v : list) {
      if (v == pivot || nodes_[at(v)].kind != Kind::variable || isMember(v)) continue;
      lp_.push_back(v);
      if (isCurrent(v)) remove(v);
    }
  }
  [[nodiscard]] int64_t sizeOf(const std::vector<int32_t>& variables) const {
    int64_t size = 0;
    for (const int32_t v : variables) size += nodes_[at(v)].kind == Kind::variable ? nodes_[at(v)].count : 0;
    return size;
  }

  void absorb(int32_t node, int32_t parent) {
    nodes_[at(node)].parent = parent;
    nodes_[at(node)].degree = -1;  // a dead element, no longer in any list
  }
  [[nodiscard]] bool isDead(int32_t element) const { return nodes_[at(element)].degree < 0; }

  void eliminate(int32_t p) {
    Node& pivot = nodes_[at(p)];
    lp_.clear();
    for (const int32_t e : pivot.elements) join(nodes_[at(e)].variables, p);
    join(pivot.variables, p);
    for (const int32_t e : pivot.elements) absorb(e, p);
    pivot.kind = Kind::element;
    eliminated_ += pivot.count;
    pivot.front = pivot.count + sizeOf(lp_);

    const std::vector<int64_t> outside = sizesOutside();
    for (const int32_t v : lp_) prune(p, v, outside);
    for (const int32_t v : lp_) {
      if (nodes_[at(v)].elements.size() + nodes_[at(v)].variables.size() > 1) continue;
      pivot.count += nodes_[at(v)].count;
      eliminated_ += nodes_[at(v)].count;
      nodes_[at(v)].kind = Kind::absorbed;
      nodes_[at(v)].parent = p;
    }
    mergeEqual();
    close(p);
  }

  // |Le \ Lp| of every element, before anything in Lp is eliminated.
  [[nodiscard]] std::vector<int64_t> sizesOutside() const {
    std::vector<int64_t> outside(at(n_), 0);
    for (int32_t e = 0; e < n_; ++e) {
      if (nodes_[at(e)].kind != Kind::element) continue;
      for (const int32_t v : nodes_[at(e)].variables) {
        if (nodes_[at(v)].kind == Kind::variable && !isMember(v)) outside[at(e)] += nodes_[at(v)].count;
      }
    }
    return outside;
  }

  void prune(int32_t p, int32_t v, const std::vector<int64_t>& outside) {
    Node& node = nodes_[at(v)];
    int64_t degree = 0;
    std::vector<int32_t> elements;
    std::vector<int32_t> variables;
    for (const int32_t e : node.elements) {
      if (isDead(e)) continue;
      if (outside[at(e)] == 0) {
        absorb(e, p);
        continue;
      }
      degree += outside[at(e)];
      elements.push_back(e);
    }
    for (const int32_t u : node.variables) {
      if (nodes_[at(u)].kind != Kind::variable || isMember(u)) continue;
      degree += nodes_[at(u)].count;
      variables.push_back(u);
    }
    node.degree = std::min(node.degree, degree);
    // The new element takes the first place; what stood there moves to the end of its part.
    if (!elements.empty()) std::rotate(elements.begin(), elements.begin() + 1, elements.end());
    if (!variables.empty()) std::rotate(variables.begin(), variables.begin() + 1, variables.end());
    elements.insert(elements.begin(), p);
    node.elements = elements;
    node.variables = variables;
  }

  // Of equal variables the one that joined the element last stays.
  void mergeEqual() {
    const auto sorted = [](std::vector<int32_t> list) {
      std::sort(list.begin(), list.end());
      return list;
    };
    for (auto keep = lp_.rbegin(); keep != lp_.rend(); ++keep) {
      Node& kept = nodes_[at(*keep)];
      if (kept.kind != Kind::variable) continue;
      for (auto other = keep + 1; other != lp_.rend(); ++other) {
        Node& merged = nodes_[at(*other)];
        if (merged.kind != Kind::variable || !sameGroup(*keep, *other)) continue;
        if (sorted(merged.elements) != sorted(kept.elements)) continue;
        if (sorted(merged.variables) != sorted(kept.variables)) continue;
        kept.count += merged.count;
        merged.kind = Kind::absorbed;
        merged.parent = *keep;
      }
    }
  }

  void close(int32_t p) {
    Node& pivot = nodes_[at(p)];
    lp_.erase(std::remove_if(lp_.begin(), lp_.end(), [&](int32_t v) { return nodes_[at(v)].kind != Kind::variable; }),
              lp_.end());
    const int64_t e = sizeOf(lp_);
    const int64_t left = n_ - eliminated_;
    for (const int32_t v : lp_) {
      Node& node = nodes_[at(v)];
      const int64_t c = node.count;
      node.degree = std::min(node.degree + e - c, left - c);
      const double size = static_cast<double>(c);
      const double weight = rules_.problemKind == 0 ? std::sqrt(size) : size;
      const int64_t pairs = node.degree * (node.degree - 1) - (e - c) * (e - c - 1);
      node.score = static_cast<int64_t>(
          std::min(static_cast<double>(INT32_MAX - n_), static_cast<double>(pairs) / (2.0 * weight)));
      if (isCurrent(v)) insert(v);
    }
    pivot.variables = lp_;
    pivot.degree = e;
  }

  std::vector<int32_t> finish(const std::vector<int32_t>& sequence) {
    std::vector<int32_t> invPerm(at(n_), -1);
    const auto isTreeNode = [&](int32_t v) {
      return nodes_[at(v)].kind == Kind::element || nodes_[at(v)].kind == Kind::isolated;
    };
    std::vector<std::vector<int32_t>> children(at(n_));
    std::vector<std::vector<int32_t>> members(at(n_));
    std::vector<int32_t> roots;
    for (int32_t v = 0; v < n_; ++v) {
      const int32_t up = nodes_[at(v)].parent;
      if (isTreeNode(v)) {
        if (up >= 0 && sameGroup(v, up)) children[at(up)].push_back(v);
      } else if (nodes_[at(v)].kind == Kind::absorbed) {
        int32_t element = up;
        while (!isTreeNode(element)) element = nodes_[at(element)].parent;
        members[at(element)].push_back(v);
      }
    }
    int32_t position = 0;
    for (const int32_t v : sequence) {
      const int32_t up = nodes_[at(v)].parent;
      if (isTreeNode(v) && (up < 0 || !sameGroup(v, up))) number(v, children, members, position, invPerm);
    }
    for (int32_t v = 0; v < n_; ++v) {
      if (nodes_[at(v)].kind == Kind::dense) invPerm[at(v)] = position++;
    }
    return invPerm;
  }

  void number(int32_t v, const std::vector<std::vector<int32_t>>& children,
              const std::vector<std::vector<int32_t>>& members, int32_t& position, std::vector<int32_t>& invPerm) {
    std::vector<int32_t> order = children[at(v)];
    if (!order.empty()) {
      size_t largest = 0;
      for (size_t k = 1; k < order.size(); ++k) {
        if (nodes_[at(order[k])].front >= nodes_[at(order[largest])].front) largest = k;
      }
      std::rotate(order.begin() + static_cast<std::ptrdiff_t>(largest),
                  order.begin() + static_cast<std::ptrdiff_t>(largest) + 1, order.end());
    }
    for (const int32_t child : order) number(child, children, members, position, invPerm);
    for (const int32_t member : members[at(v)]) invPerm[at(member)] = position++;
    invPerm[at(v)] = position++;
  }

  int32_t n_;
  const ReferenceRules& rules_;
  std::vector<Node> nodes_;
  std::map<int64_t, std::list<int32_t>> buckets_;
  std::vector<int32_t> lp_;
  int64_t eliminated_ = 0;
  int32_t current_ = 0;
};

std::vector<bool> denseAbove(const Graph& graph, double limit) {
  std::vector<bool> dense(at(graph.n));
  for (int32_t v = 0; v < graph.n; ++v) dense[at(v)] = graph.degree(v) > limit;
  return dense;
}

}  // namespace

std::vector<int32_t> referenceOrder(const Graph& graph, const ReferenceRules& rules) {
  return Reference(graph, rules).run();
}

std::vector<bool> denseBySize(const Graph& graph) {
  return denseAbove(graph, std::floor(std::max(16.0, 10.0 * std::sqrt(graph.n))));
}

std::vector<bool> denseByDegree(const Graph& graph) {
  const int32_t average = graph.n == 0 ? 0 : graph.numEntries() / graph.n;
  return denseAbove(graph, 50.0 * average);
}

std::vector<bool> denseByLog(const Graph& graph) {
  std::vector<int32_t> byDegree(at(graph.n));
  std::iota(byDegree.begin(), byDegree.end(), 0);
  std::stable_sort(byDegree.begin(), byDegree.end(),
                   [&](int32_t a, int32_t b) { return graph.degree(a) > graph.degree(b); });
  // Of equal degrees the vertex of the higher number goes first.
  for (auto run = byDegree.begin(); run != byDegree.end();) {
    auto end = std::find_if(run, byDegree.end(), [&](int32_t v) { return graph.degree(v) != graph.degree(*run); });
    std::reverse(run, end);
    run = end;
  }
  std::vector<bool> dense(at(graph.n), false);
  double left = graph.n;
  for (const int32_t v : byDegree) {
    if (graph.degree(v) == 0 || left < 2 || graph.degree(v) < 20.0 * std::log(left)) break;
    dense[at(v)] = true;
    left -= 1;
  }
  return dense;
}

}  // namespace qztest
