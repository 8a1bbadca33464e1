// Reads the description that CMake writes into every build folder.
#include "harness/build_under_test.h"

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

namespace {

BuildUnderTest read_description() {
  const char *named = std::getenv("ZEL_TEST_BUILD");
  std::ifstream file(named != nullptr ? named : ZEL_TEST_BUILD);
  const nlohmann::json description = nlohmann::json::parse(file);
  return {.client = description.at("client").get<std::string>(),
          .frames = description.value("frames", ""),
          .camera = description.at("camera").get<std::string>(),
          .compliance = description.at("compliance").get<std::string>(),
          .spoiled = description.at("spoiled").get<std::string>(),
          .preloads = description.at("preloads").get<std::string>(),
          .emulator = description.at("emulator").get<std::vector<std::string>>()};
}

}  // namespace

const BuildUnderTest &build_under_test() {
  static const BuildUnderTest description = read_description();
  return description;
}
