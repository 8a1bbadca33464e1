// Whether there is a library, and whether it is the one that was asked for.
#include "compliance/library/library.h"

#include <string>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"

namespace compliance {
namespace {

void check_that_it_opens() {
  try {
    note(std::string(kSoname) + " is " + zel().path);
  } catch (const NoLibrary &error) {
    throw Finding(std::string("the loader says \"") + error.what() + "\", expected " + kSoname + " to open");
  }
}

void check_soname() {
  expect_equal("the name that the library's file has for itself", zel().soname, std::string(kSoname));
}

void check_functions() {
  for (const std::string &name : zel().missing)
    expect(false, name + " is not in the library, expected every function of zel.h");
}

}  // namespace

std::vector<Check> library_checks() {
  return {
      {.name = "Library.Opens",
       .expects = "The loader finds libzel.so.1, and all that it needs itself",
       .relies = "The client starts at all. Without it every other check is skipped",
       .run = check_that_it_opens},
      {.name = "Library.Soname",
       .expects = "The library's file calls itself libzel.so.1",
       .relies = "A client that is linked against this file asks the loader for libzel.so.1",
       .run = check_soname},
      {.name = "Library.Functions",
       .expects = "Every function of zel.h is in the library",
       .relies = "The loader starts the client only when it finds all that the client calls",
       .run = check_functions},
  };
}

}  // namespace compliance
