// usage: caller LOG CONFIG_DIR EVENT
#include <entry/kestrix.h>

#include <iostream>

int main(int /*argc*/, char** argv) {
  const auto result = Kestrix::analysis(argv[1], argv[2], argv[3]);
  for (const auto& [key, value] : result) std::cout << key << ' ' << value << '\n';
}
