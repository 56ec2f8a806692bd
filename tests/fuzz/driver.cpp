// Runs a fuzz target without libFuzzer: every seed, then a bounded number of mutations that are the
// same in every run. Takes libFuzzer's arguments: -runs=N -seed=N -max_len=N, and folders of seeds;
// other options are ignored. Whatever the target dislikes ends the process.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Random = std::mt19937_64;

struct Options {
  uint64_t runs = 1000;
  uint64_t seed = 1;
  size_t maxLength = 4096;
  std::vector<std::filesystem::path> folders;
};

Options parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto value = argument.substr(argument.find('=') + 1);
    if (argument.starts_with("-runs=")) {
      options.runs = std::stoull(value);
    } else if (argument.starts_with("-seed=")) {
      options.seed = std::stoull(value);
    } else if (argument.starts_with("-max_len=")) {
      options.maxLength = std::stoull(value);
    } else if (!argument.starts_with("-")) {
      options.folders.emplace_back(argument);
    }
  }
  return options;
}

std::vector<std::string> readSeeds(const std::vector<std::filesystem::path>& folders) {
  std::vector<std::filesystem::path> files;
  for (const auto& folder : folders) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());  // the file system's order is not the same everywhere
  std::vector<std::string> seeds;
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    seeds.push_back(bytes.str());
  }
  return seeds;
}

size_t below(Random& random, size_t bound) {
  return bound == 0 ? 0 : random() % bound;
}

// One small change; `other` lends its bytes.
void mutate(std::string& input, const std::string& other, Random& random) {
  static constexpr std::string_view kTokens[] = {
      "{",     "}",    "[",     "]",    "\"", ",",   ":",          "\\",          "\\u0000",
      "null",  "true", "false", "0",    "-1", "1e9", "2147483647", "4294967296",  "1.5",
      "1e999", "[[[[", "\xFF",  "\x00", "{}", "[]",  "\"\"",       "\xED\xA0\x80"};
  const size_t at = below(random, input.size() + 1);
  switch (random() % 6) {
    case 0:
      if (at < input.size()) input[at] = static_cast<char>(random());
      break;
    case 1:
      input.insert(at, 1, static_cast<char>(random()));
      break;
    case 2:
      input.erase(at, 1 + below(random, 8));
      break;
    case 3:
      input.insert(at, kTokens[below(random, std::size(kTokens))]);
      break;
    case 4:
      input.insert(at, input.substr(below(random, input.size() + 1), below(random, 64)));
      break;
    default:
      input.insert(at, other.substr(below(random, other.size() + 1), below(random, 64)));
  }
}

void run(const std::string& input) {
  // Exactly as many bytes as there are, so that reading past the end shows under AddressSanitizer.
  const std::vector<uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parseOptions(argc, argv);
  const auto seeds = readSeeds(options.folders);
  if (seeds.empty()) {
    std::fprintf(stderr, "no seeds found\n");
    return 1;
  }
  run({});
  for (const auto& seed : seeds) run(seed);

  Random random(options.seed);
  for (uint64_t n = 0; n < options.runs; ++n) {
    std::string input = seeds[below(random, seeds.size())];
    for (size_t changes = 1 + below(random, 8); changes > 0; --changes) {
      mutate(input, seeds[below(random, seeds.size())], random);
    }
    input.resize(std::min(input.size(), options.maxLength));
    run(input);
  }
  std::printf("%zu seeds and %llu mutations passed\n", seeds.size(),
              static_cast<unsigned long long>(options.runs));
  return 0;
}
