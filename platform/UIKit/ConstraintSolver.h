#pragma once

#include "platform/UIKit/NSLayoutConstraint.h"

#include <vector>

class UIView;

/// Places the views below `holder` that don't translate their autoresizing mask, by `constraints`.
///
/// Each axis of each view is worked out on its own, in terms of views that have their place already: views placed by
/// frames, `holder`, and views placed earlier in the same call, in whatever order the constraints come. Of constraints
/// that contradict each other the latest win. What is left open keeps its present value. A view takes its place from
/// constraints in which it is the first item, or the second item to a first one that is placed by its frame.
void UIPlaceSubviewsByConstraints(UIView& holder, const std::vector<Strong<NSLayoutConstraint>>& constraints);
