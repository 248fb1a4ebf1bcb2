#pragma once
// The emulated registry's keys and values in memory. Names compare without regard to ASCII case
// and keep the case they were created with, as on Windows; subkeys enumerate in that
// case-blind order and values in the order they were first set. A deleted key is marked, so a
// handle that still holds it can answer ERROR_KEY_DELETED.
#include <array>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/emulated/RegFile.h"

namespace platform::regfile {

// Orders names the way the registry enumerates them: by their upper-cased (ASCII) form.
struct RegNameLess {
  using is_transparent = void;
  bool operator()(std::wstring_view a, std::wstring_view b) const;
};
bool RegNamesEqual(std::wstring_view a, std::wstring_view b);

class RegNode {
 public:
  using Children = std::map<std::wstring, std::shared_ptr<RegNode>, RegNameLess>;

  explicit RegNode(std::wstring name) : name_(std::move(name)) {}

  const std::wstring& Name() const { return name_; }
  bool Deleted() const { return deleted_; }

  const Children& SubKeys() const { return children_; }
  std::shared_ptr<RegNode> FindSubKey(std::wstring_view name) const;
  // The existing subkey of that name, or a new one.
  std::shared_ptr<RegNode> CreateSubKey(std::wstring_view name);
  // Removes the subkey and marks it and everything below it deleted; false when there is none.
  bool RemoveSubKey(std::wstring_view name);
  // Removes every value and subkey (the subkeys are marked deleted).
  void Clear();

  const std::vector<std::pair<std::wstring, RegValue>>& Values() const { return values_; }
  const RegValue* FindValue(std::wstring_view name) const;
  void SetValue(std::wstring_view name, RegValue value);
  bool RemoveValue(std::wstring_view name);

 private:
  void MarkDeleted();

  std::wstring name_;
  bool deleted_ = false;
  Children children_;
  std::vector<std::pair<std::wstring, RegValue>> values_;
};

class RegTree {
 public:
  RegTree();

  std::shared_ptr<RegNode> Root(RegRoot root) const { return roots_[static_cast<std::size_t>(root)]; }

  // Applies a document the way an import does: [key] creates, [-key] deletes, "name"=- deletes
  // a value, every other line sets one.
  void Apply(const RegDocument& document);
  // The whole tree as a document: one section per key, parents before children, subkeys in
  // enumeration order; a root appears only when it holds values itself.
  RegDocument Export() const;

 private:
  std::array<std::shared_ptr<RegNode>, kRootCount> roots_;
};

}  // namespace platform::regfile
