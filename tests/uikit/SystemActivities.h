#pragma once

#include "platform/UIKit/UISystemActivities.h"

#include <string>
#include <utility>

/// An activity that can always be carried out, and is called by its title.
class NamedActivity : public UIActivity {
 public:
  explicit NamedActivity(std::string title, UIActivityCategory category = UIActivityCategory::Action)
      : title_(std::move(title)), category_(category) {}
  UIActivityCategory activityCategory() const override { return category_; }
  std::string activityType() const override { return title_; }
  std::string activityTitle() const override { return title_; }
  bool canPerformWithActivityItems(const std::vector<UIActivityItem>&) override { return true; }

 private:
  std::string title_;
  UIActivityCategory category_;
};

/// What stands for the desktop's activities, which differ from machine to machine.
void setSystemActivities(std::vector<Strong<UIActivity>> activities);
