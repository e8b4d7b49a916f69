// Holds the dynamic symbol table of tlm.so against the names that the public headers declare with
// ZUL_API or list as ZUL_SHADOW(name): a missing export, a leaked C++ symbol or a stray C name all
// fail here.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string StripComments(const std::string &text) {
  static const std::regex kBlock(R"(/\*[\s\S]*?\*/)");
  static const std::regex kLine(R"(//[^\n]*)");
  return std::regex_replace(std::regex_replace(text, kBlock, " "), kLine, " ");
}

// The name a ZUL_API declaration introduces: "(*name)" for a function pointer, otherwise the
// identifier before the first '(' (a function) or before '[', '=' or ';' (data).
std::string DeclaredName(const std::string &decl) {
  static const std::regex kPointer(R"(\(\s*\*\s*([A-Za-z_]\w*)\s*\))");
  static const std::regex kFunction(R"(([A-Za-z_]\w*)\s*\()");
  static const std::regex kData(R"(([A-Za-z_]\w*)\s*(\[[^\]]*\]\s*)*$)");
  std::smatch m;
  if (std::regex_search(decl, m, kPointer)) return m[1];
  if (std::regex_search(decl, m, kFunction)) return m[1];
  std::string head = decl.substr(0, decl.find('='));
  if (std::regex_search(head, m, kData)) return m[1];
  return {};
}

std::set<std::string> DeclaredExports() {
  std::set<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(TLM_INCLUDE_DIR)) {
    if (entry.path().extension() != ".h") continue;
    std::ifstream in(entry.path());
    std::stringstream ss;
    ss << in.rdbuf();
    std::string text = StripComments(ss.str());
    // Skip the macro definition itself.
    static const std::regex kDecl(R"((^|[;}\n])\s*ZUL_API\s+([^;]*);)");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), kDecl);
         it != std::sregex_iterator(); ++it) {
      std::string decl = (*it)[2];
      decl = std::regex_replace(decl, std::regex(R"(\s*ZUL_NOTHROW\s*$)"), "");
      decl = std::regex_replace(decl, std::regex(R"(__attribute__\s*\(\(.*?\)\))"), "");
      std::string name = DeclaredName(decl);
      EXPECT_FALSE(name.empty()) << "cannot read the name of: " << decl;
      if (!name.empty()) names.insert(name);
    }
    // The C library names that the library replaces can't be declared again with ZUL_API: their
    // header lists them as ZUL_SHADOW(name) entries instead.
    static const std::regex kShadow(R"(\bZUL_SHADOW\(\s*([A-Za-z_]\w*)\s*\))");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), kShadow);
         it != std::sregex_iterator(); ++it)
      names.insert((*it)[1]);
  }
  return names;
}

std::set<std::string> LibraryExports() {
  std::set<std::string> names;
  std::string cmd = std::string("nm -D --defined-only '") + TLM_SO_PATH + "'";
  FILE *p = popen(cmd.c_str(), "r");
  if (p == nullptr) return names;
  char line[1024];
  while (fgets(line, sizeof line, p) != nullptr) {
    std::istringstream ls(line);
    std::string addr, type, name;
    if (!(ls >> addr >> type >> name)) continue;
    // Linker-made markers of the image, not names of the library.
    if (name == "_init" || name == "_fini" || name == "__bss_start" || name == "_edata" ||
        name == "_end")
      continue;
    // AddressSanitizer's one-definition-rule markers of exported data.
    if (name.rfind("__odr_asan", 0) == 0) continue;
    names.insert(name.substr(0, name.find('@')));
  }
  pclose(p);
  return names;
}

TEST(AbiExports, SymbolTableEqualsDeclaredList) {
  std::set<std::string> declared = DeclaredExports();
  std::set<std::string> exported = LibraryExports();
  ASSERT_FALSE(exported.empty()) << "nm found nothing in " << TLM_SO_PATH;
  for (const auto &n : declared) EXPECT_TRUE(exported.count(n)) << "declared, not exported: " << n;
  for (const auto &n : exported) EXPECT_TRUE(declared.count(n)) << "exported, not declared: " << n;
}

TEST(AbiExports, NoMangledCppSymbolLeaks) {
  for (const auto &n : LibraryExports()) EXPECT_NE(n.rfind("_Z", 0), 0u) << n;
}

}  // namespace
