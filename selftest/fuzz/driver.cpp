#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// Stands in for a fuzzing engine under a compiler that has none: replays a corpus, then a number of
// random changes to it, the same ones every time.
//
//   TARGET CORPUS MUTATIONS

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;

std::vector<Input> ReadCorpus(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  std::vector<Input> inputs;
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return inputs;
}

class Mutator {
 public:
  explicit Mutator(const std::vector<Input>& corpus) : corpus_(corpus) {}

  Input Next() {
    Input input = corpus_[Below(corpus_.size())];
    for (std::size_t n = 1 + Below(4); n > 0; --n) Change(input);
    return input;
  }

 private:
  std::size_t Below(std::size_t bound) { return random_() % bound; }

  void Change(Input& input) {
    const std::size_t at = Below(input.size() + 1);
    const auto place = input.begin() + static_cast<std::ptrdiff_t>(at);
    switch (Below(5)) {
      case 0:
        input.insert(place, Byte());
        break;
      case 1:
        if (at < input.size()) input.erase(place);
        break;
      case 2:
        if (at < input.size()) *place = Byte();
        break;
      case 3: {
        const Input& other = corpus_[Below(corpus_.size())];
        const std::size_t from = Below(other.size() + 1);
        input.insert(place, other.begin() + static_cast<std::ptrdiff_t>(from), other.end());
        break;
      }
      default:
        input.resize(at);
        break;
    }
  }

  std::uint8_t Byte() {
    constexpr char kLikely[] = " \t\"*=?;,/\n%0123456789-+lsdxcnmASKNMFT";
    if (Below(2) == 0) return static_cast<std::uint8_t>(kLikely[Below(sizeof kLikely)]);
    return static_cast<std::uint8_t>(Below(256));
  }

  const std::vector<Input>& corpus_;
  std::mt19937 random_{1};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s CORPUS MUTATIONS\n", argv[0]);
    return 2;
  }
  const std::vector<Input> corpus = ReadCorpus(argv[1]);
  if (corpus.empty()) {
    std::fprintf(stderr, "%s holds no input\n", argv[1]);
    return 2;
  }
  for (const Input& input : corpus) LLVMFuzzerTestOneInput(input.data(), input.size());
  Mutator mutator(corpus);
  const long mutations = std::strtol(argv[2], nullptr, 10);
  for (long n = 0; n < mutations; ++n) {
    const Input input = mutator.Next();
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%zu inputs, %ld mutations\n", corpus.size(), mutations);
  return 0;
}
