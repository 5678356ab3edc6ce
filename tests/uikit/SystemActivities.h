#pragma once

#include "platform/UIKit/UISystemActivities.h"

/// What stands for the desktop's activities, which differ from machine to machine.
void setSystemActivities(std::vector<Strong<UIActivity>> activities);
