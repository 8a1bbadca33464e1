// Prints the table of settings for docs/software-camera.md.
#include <cstdio>

#include "settings/document.h"

int main() {
  (void)std::fputs(camera::settings_document().c_str(), stdout);
  return 0;
}
