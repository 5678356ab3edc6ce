#include "automation/Automation.h"
#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSExtension.h"
#include "platform/Foundation/ShownText.h"
#include "platform/StoreServices/SSLookupRequest.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace {

/// Seconds. The window is there by then, and nobody has tapped Share yet.
constexpr double prewarmDelay = 1;

/// Has the store's catalogue read ahead, so that the share sheet opens without a wait.
void prewarmSharing() {
  SSLookupRequest::prewarm();
}

/// When somebody else ends the program: Qt does when the display has gone.
void endWithoutDisplay() {
  printMessage("the connection to the display was lost; what was not saved yet is not saved");
  std::_Exit(1);
}

}  // namespace

int main(int argc, char* argv[]) {
  std::atexit(endWithoutDisplay);
  automation::install();
  dispatch_after(prewarmDelay, dispatch_get_main_queue(), prewarmSharing);
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
