#include "platform/emulated/RegTree.h"

#include <algorithm>
#include <cstdint>

namespace platform::regfile {
namespace {

wchar_t Upper(wchar_t c) { return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - L'a' + L'A') : c; }

void ExportNode(const RegNode& node, RegRoot root, std::vector<std::wstring>& path, RegDocument& document) {
  for (const auto& [name, child] : node.SubKeys()) {
    path.push_back(child->Name());
    RegSection section{root, path, false, {}};
    for (const auto& [valueName, value] : child->Values()) section.values.push_back({valueName, value});
    document.sections.push_back(std::move(section));
    ExportNode(*child, root, path, document);
    path.pop_back();
  }
}

}  // namespace

bool RegNameLess::operator()(std::wstring_view a, std::wstring_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](wchar_t x, wchar_t y) {
    return static_cast<std::uint32_t>(Upper(x)) < static_cast<std::uint32_t>(Upper(y));
  });
}

bool RegNamesEqual(std::wstring_view a, std::wstring_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](wchar_t x, wchar_t y) { return Upper(x) == Upper(y); });
}

std::shared_ptr<RegNode> RegNode::FindSubKey(std::wstring_view name) const {
  const auto it = children_.find(name);
  return it == children_.end() ? nullptr : it->second;
}

std::shared_ptr<RegNode> RegNode::CreateSubKey(std::wstring_view name) {
  if (auto existing = FindSubKey(name)) return existing;
  auto node = std::make_shared<RegNode>(std::wstring(name));
  children_.emplace(node->Name(), node);
  return node;
}

bool RegNode::RemoveSubKey(std::wstring_view name) {
  const auto it = children_.find(name);
  if (it == children_.end()) return false;
  it->second->MarkDeleted();
  children_.erase(it);
  return true;
}

void RegNode::Clear() {
  for (auto& [name, child] : children_) child->MarkDeleted();
  children_.clear();
  values_.clear();
}

void RegNode::MarkDeleted() {
  deleted_ = true;
  for (auto& [name, child] : children_) child->MarkDeleted();
}

const RegValue* RegNode::FindValue(std::wstring_view name) const {
  for (const auto& [n, v] : values_)
    if (RegNamesEqual(n, name)) return &v;
  return nullptr;
}

void RegNode::SetValue(std::wstring_view name, RegValue value) {
  for (auto& [n, v] : values_) {
    if (RegNamesEqual(n, name)) {
      v = std::move(value);
      return;
    }
  }
  values_.emplace_back(std::wstring(name), std::move(value));
}

bool RegNode::RemoveValue(std::wstring_view name) {
  const auto it = std::find_if(values_.begin(), values_.end(), [name](const auto& nv) { return RegNamesEqual(nv.first, name); });
  if (it == values_.end()) return false;
  values_.erase(it);
  return true;
}

RegTree::RegTree() {
  for (std::size_t i = 0; i < kRootCount; ++i)
    roots_[i] = std::make_shared<RegNode>(RootName(static_cast<RegRoot>(i)));
}

void RegTree::Apply(const RegDocument& document) {
  for (const RegSection& section : document.sections) {
    std::shared_ptr<RegNode> node = Root(section.root);
    if (section.remove) {
      if (section.keys.empty()) continue;  // a root is never deleted
      for (std::size_t i = 0; node && i + 1 < section.keys.size(); ++i) node = node->FindSubKey(section.keys[i]);
      if (node) node->RemoveSubKey(section.keys.back());
      continue;
    }
    for (const std::wstring& key : section.keys) node = node->CreateSubKey(key);
    for (const RegValueLine& line : section.values) {
      if (line.value)
        node->SetValue(line.name, *line.value);
      else
        node->RemoveValue(line.name);
    }
  }
}

RegDocument RegTree::Export() const {
  RegDocument document;
  for (std::size_t i = 0; i < kRootCount; ++i) {
    const RegRoot root = static_cast<RegRoot>(i);
    const RegNode& node = *roots_[i];
    if (!node.Values().empty()) {
      RegSection section{root, {}, false, {}};
      for (const auto& [name, value] : node.Values()) section.values.push_back({name, value});
      document.sections.push_back(std::move(section));
    }
    std::vector<std::wstring> path;
    ExportNode(node, root, path, document);
  }
  return document;
}

}  // namespace platform::regfile
