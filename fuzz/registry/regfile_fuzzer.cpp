// Any bytes as a .reg file. Whatever the parser accepts must survive writing and reading back
// unchanged, and applying it to a tree and exporting that must give a stable file as well.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/emulated/RegFile.h"
#include "platform/emulated/RegTree.h"

using platform::regfile::FormatRegFile;
using platform::regfile::ParseRegFile;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto parsed = ParseRegFile(std::string_view(reinterpret_cast<const char*>(data), size));
  if (parsed.error) return 0;

  const std::string text = FormatRegFile(parsed.document);
  const auto reread = ParseRegFile(text);
  if (reread.error || !(reread.document == parsed.document)) std::abort();

  platform::regfile::RegTree tree;
  tree.Apply(parsed.document);
  const std::string exported = FormatRegFile(tree.Export());
  platform::regfile::RegTree copy;
  const auto exportedDocument = ParseRegFile(exported);
  if (exportedDocument.error) std::abort();
  copy.Apply(exportedDocument.document);
  if (FormatRegFile(copy.Export()) != exported) std::abort();
  return 0;
}
