#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"

void ZVVideoEditorViewController::shareAction() {
  dispatch_async(dispatch_get_main_queue(), [self = strongSelf()] {
    self->displayShareSheetWithVideoURL(self->videoURL());
    if (self->isPadMode()) {
      self->topToolBar()->setItems({self->doneButton(), self->flexSpace(), self->titleButton(), self->flexSpace(),
                                    self->playButton(), self->fixSpace(), self->shareButton(), self->fixSpace(),
                                    self->saveButton()});
    } else {
      self->topToolBar()->setItems(
          {self->doneButton(), self->flexSpace(), self->titleButton(), self->flexSpace(), self->saveButton()});
    }
  });
}

void ZVVideoEditorViewController::displayShareSheetWithVideoURL(const NSURL&) {
  os_trace("displayShareSheetWithVideoURL");
}
