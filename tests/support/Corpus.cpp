#include "support/Corpus.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

namespace quillon::test {

std::string CorpusDir() {
  const char* fromEnvironment = std::getenv("QUILLON_CORPUS");
  std::string dir = fromEnvironment && *fromEnvironment ? fromEnvironment : QUILLON_CORPUS_DIR;
  struct stat info;
  if (::stat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return {};
  return dir;
}

std::string CorpusFile(const std::string& name) {
  const std::string dir = CorpusDir();
  return dir.empty() ? std::string() : dir + "/" + name;
}

std::string FileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

bool InCi() {
  const char* ci = std::getenv("CI");
  return ci && std::string(ci) == "true";
}

} // namespace quillon::test
