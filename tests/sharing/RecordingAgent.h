#pragma once

#include "platform/Foundation/NSValueObjects.h"
#include "platform/UIKit/UIPickerView.h"
#include "platform/UIKit/UITableViewCell.h"
#include "sharing/ZVPublishingAgent.h"

#include <string>
#include <vector>

/// Stands where the plug-in's agent does and writes down what it is told.
class RecordingAgent : public NSObject, public ZVPublishingAgent {
 public:
  std::vector<std::string> log;
  std::string url;
  float progress = -1;
  Strong<UINavigationController> navigation =
      UINavigationController::initWithRootViewController(std::make_shared<UIViewController>());

  void setDelegate(const Strong<ZVPublishingAgentDelegate>&) override {}
  void setMediaPath(const std::string&) override {}
  Strong<UINavigationController> navigationController() override { return navigation; }
  std::string mediaURL() override { return url; }
  void setMediaIsReady(bool ready) override { log.push_back(ready ? "ready" : "not ready"); }
  void setPreparationProgress(float value) override { progress = value; }
  void mediaPreparationFailed(const NSErrorPtr& error) override {
    log.push_back(error ? "failed" : "failed without a reason");
  }
};

/// A category cell that keeps what it shows.
class RecordingCategoryCell : public UIView {
  ZV_OBJECT(RecordingCategoryCell)
 public:
  std::string shown;
  void setCategoryString(const Strong<NSString>& category) { shown = category->text(); }
};

/// A form of which only what has to do with categories is there.
class CategoryForm : public UIViewController {
  ZV_OBJECT(CategoryForm)
  ZV_INSTANCE_VARIABLES(CategoryForm)
 public:
  explicit CategoryForm(const std::vector<std::string>& identifiers = {});
  Strong<RecordingCategoryCell> _categoryCell() { return cell; }

  Strong<RecordingCategoryCell> cell = std::make_shared<RecordingCategoryCell>();
  Strong<UIPickerView> picker = std::make_shared<UIPickerView>();
  Strong<NSString> defaultCategory = NSString::stringWithString("its own");
  Strong<NSArray> categories;
};
