#include "automation/Automation.h"
#include "platform/Foundation/NSExtension.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

int main(int argc, char* argv[]) {
  automation::install();
  const int status = automation::exitStatus(NSExtensionMain(argc, argv));
  std::cout.flush();
  std::fflush(nullptr);
  // Everything is tidied up. Decoders and players may still be winding down on threads of their libraries, which static
  // destructors do not wait for, so these are left out.
  std::_Exit(status);
}
