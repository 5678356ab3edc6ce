#include "automation/Automation.h"
#include "platform/Foundation/NSExtension.h"

int main(int argc, char* argv[]) {
  automation::install();
  return automation::exitStatus(NSExtensionMain(argc, argv));
}
