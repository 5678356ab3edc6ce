#include "platform/UIKit/UIScreen.h"

UIScreen& UIScreen::mainScreen() {
  static UIScreen screen;
  return screen;
}
