#include "automation/Automation.h"
#include "editor/ZVVideoEditorViewController.h"
#include "platform/Foundation/NSExtension.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

int main(int argc, char* argv[]) {
  automation::install();
  int status = NSExtensionMain(argc, argv);
  if (status == 0 && ZVVideoEditorViewController::latestSaveFailed()) status = 1;  // the export has said why
  status = automation::exitStatus(status);
  // What a script prints goes to standard output directly.
  if (!std::cout.flush() && status == 0) {
    std::fputs("zevanti: can't write to standard output\n", stderr);
    status = 1;
  }
  std::fflush(nullptr);
  // Everything is tidied up. Decoders and players may still be winding down on threads of their libraries, which static
  // destructors do not wait for, so these are left out.
  std::_Exit(status);
}
