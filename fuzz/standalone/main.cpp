// Runs a fuzz target without libFuzzer: every file of the given folders (or every given file) once,
// then, with
// `--random N --seed S`, N mutations of them. Run i depends on S and i alone. When a run ends the
// process, the input is left in `failing-input` of the working directory; give that file as an
// argument to see it again.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Present under AddressSanitizer, which ends the process without a signal.
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

namespace fs = std::filesystem;
using Octets = std::vector<uint8_t>;

constexpr size_t maxOctets = 10000;

const Octets* currentInput = nullptr;

// Only system calls: this runs in signal handlers.
void saveCurrentInput() {
  if (!currentInput) return;
  const int fd = ::open("failing-input", O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return;
  const bool saved = ::write(fd, currentInput->data(), currentInput->size()) ==
                     static_cast<ssize_t>(currentInput->size());
  ::close(fd);
  constexpr char text[] = "input saved in failing-input\n";
  if (saved) static_cast<void>(!::write(STDERR_FILENO, text, sizeof text - 1));
}

void onFatalSignal(int number) {
  std::signal(number, SIG_DFL);
  saveCurrentInput();
  std::raise(number);
}

void run(const Octets& input) {
  currentInput = &input;
  LLVMFuzzerTestOneInput(input.data(), input.size());
  currentInput = nullptr;
}

Octets readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return Octets(std::istreambuf_iterator<char>(file), {});
}

// A folder that is not there is an empty corpus.
void addInputs(const fs::path& path, std::vector<Octets>& inputs) {
  if (fs::is_regular_file(path)) {
    inputs.push_back(readFile(path));
    return;
  }
  if (!fs::exists(path)) return;
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) inputs.push_back(readFile(file));
}

class Mutator {
 public:
  Mutator(const std::vector<Octets>& corpus, uint64_t seed, uint64_t run) : corpus_(corpus) {
    std::seed_seq words{static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32),
                        static_cast<uint32_t>(run), static_cast<uint32_t>(run >> 32)};
    random_.seed(words);
  }

  Octets next() {
    Octets input = any();
    for (size_t left = 1 + below(4); left > 0; --left) mutate(input);
    if (input.size() > maxOctets) input.resize(maxOctets);
    return input;
  }

 private:
  size_t below(size_t limit) {
    return std::uniform_int_distribution<size_t>(0, limit - 1)(random_);
  }

  uint8_t octet() {
    // The ends of the ranges of lengths, counts and packed events come up more often than by
    // chance.
    static constexpr uint8_t edges[] = {0x00, 0x01, 0x20, 0x3f, 0x40, 0x7f, 0x80, 0xd7, 0xd8, 0xff};
    return below(2) ? edges[below(std::size(edges))] : static_cast<uint8_t>(below(256));
  }

  const Octets& any() { return corpus_[below(corpus_.size())]; }

  Octets::iterator place(Octets& input) {
    return input.begin() + static_cast<std::ptrdiff_t>(below(input.size() + 1));
  }

  void mutate(Octets& input) {
    switch (input.empty() ? 3 : below(6)) {
      case 0:
        input[below(input.size())] = octet();
        break;
      case 1:
        input[below(input.size())] ^= static_cast<uint8_t>(1u << below(8));
        break;
      case 2:
        input.resize(below(input.size()));
        break;
      case 3:
        input.insert(place(input), octet());
        break;
      case 4: {
        const auto from = place(input);
        const auto room = static_cast<size_t>(input.end() - from);
        input.erase(from, from + static_cast<std::ptrdiff_t>(std::min(room, 1 + below(8))));
        break;
      }
      default: {  // The head of this input with the tail of another.
        const Octets& other = any();
        input.erase(place(input), input.end());
        input.insert(input.end(),
                     other.begin() + static_cast<std::ptrdiff_t>(below(other.size() + 1)),
                     other.end());
        break;
      }
    }
  }

  const std::vector<Octets>& corpus_;
  std::mt19937_64 random_;
};

int runAll(const std::vector<std::string>& arguments) {
  uint64_t runs = 0;
  uint64_t seed = 1;
  std::vector<Octets> inputs;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const bool takesNumber = arguments[i] == "--random" || arguments[i] == "--seed";
    if (!takesNumber) {
      addInputs(arguments[i], inputs);
      continue;
    }
    if (i + 1 == arguments.size()) throw std::runtime_error(arguments[i] + " needs a number");
    (arguments[i] == "--random" ? runs : seed) = std::stoull(arguments[i + 1]);
    ++i;
  }
  for (const Octets& input : inputs) run(input);
  std::cout << inputs.size() << " inputs";
  if (inputs.empty()) inputs.emplace_back();
  for (uint64_t i = 0; i < runs; ++i) run(Mutator(inputs, seed, i).next());
  std::cout << ", " << runs << " mutations with seed " << seed << '\n';
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
    std::signal(number, onFatalSignal);
  }
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(saveCurrentInput);
  try {
    return runAll(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::exception& error) {
    saveCurrentInput();
    std::cerr << error.what() << '\n';
    return 2;
  }
}
