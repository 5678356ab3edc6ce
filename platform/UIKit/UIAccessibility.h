#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/UIKit/UIGeometry.h"

#include <functional>
#include <string>

enum class UIAccessibilityRole {
  Button,
  Slider,
  StaticText,
  Image,
  ProgressBar,
  TextField,
  Switch,
  RadioButton,
  Picker
};
enum class UIAdjustmentUnit { Frame, Second };

/// One thing on screen that a person can reach: with the keyboard, with a screen reader, by name in a script.
struct UIAccessibilityElement {
  /// The accessible name: "Play", "Start", ... Scripts and the keyboard know the element by it.
  std::string label;
  UIAccessibilityRole role = UIAccessibilityRole::Button;
  CGRect frame;  ///< in the coordinates of the view that reports it
  bool enabled = true;
  std::string value;               ///< what a slider or progress bar stands at, what was typed or chosen: "0:12"
  bool checked = false;            ///< of a switch or radio button
  std::string spoken = {};         ///< the name in the person's language; empty: the label is that already
  std::string group = {};          ///< what a radio button is a choice of
  std::function<void()> activate;  ///< Return, Space or a press by a screen reader; may be empty
  /// Arrow keys on a slider or a picker: a signed number of steps; may be empty.
  std::function<void(int steps, UIAdjustmentUnit unit)> adjust;
  /// The outer edge of the line around the element while it has the keyboard's focus, from the frame inwards, in
  /// points.
  UIEdgeInsets focusRingInsets{-5, -5, -5, -5};
  CGFloat focusRingRadius = 8;  ///< of its corners, in points; more than there is room for makes it round
};
