#include "platform/UIKit/ConstraintSolver.h"

#include "platform/UIKit/UIView.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

enum Axis { Horizontal = 0, Vertical = 1 };
/// What can be said of one axis of a view: where it begins, ends, is long, has its middle.
enum class Part { Start, End, Length, Middle };

struct Anchor {
  Axis axis;
  Part part;
};

std::optional<Anchor> anchorOf(NSLayoutAttribute attribute) {
  switch (attribute) {
    case NSLayoutAttribute::Left:
    case NSLayoutAttribute::Leading:
      return Anchor{Horizontal, Part::Start};
    case NSLayoutAttribute::Right:
    case NSLayoutAttribute::Trailing:
      return Anchor{Horizontal, Part::End};
    case NSLayoutAttribute::Width:
      return Anchor{Horizontal, Part::Length};
    case NSLayoutAttribute::CenterX:
      return Anchor{Horizontal, Part::Middle};
    case NSLayoutAttribute::Top:
      return Anchor{Vertical, Part::Start};
    case NSLayoutAttribute::Bottom:
      return Anchor{Vertical, Part::End};
    case NSLayoutAttribute::Height:
      return Anchor{Vertical, Part::Length};
    case NSLayoutAttribute::CenterY:
      return Anchor{Vertical, Part::Middle};
    case NSLayoutAttribute::NotAnAttribute:
      break;
  }
  return std::nullopt;
}

struct Span {
  float start, length;
};

Span spanOf(const CGRect& frame, Axis axis) {
  return axis == Horizontal ? Span{frame.origin.x, frame.size.width} : Span{frame.origin.y, frame.size.height};
}

/// Where the inside of `view` begins, in the coordinates of its outermost superview.
float originOf(const UIView* view, Axis axis) {
  float origin = 0;
  for (Strong<UIView> above = view->superview(); above; above = above->superview()) {
    origin += spanOf(view->frame(), axis).start;
    view = above.get();
  }
  return origin;
}

float valueOf(const UIView* view, Anchor anchor) {
  const float length = spanOf(view->frame(), anchor.axis).length;
  if (anchor.part == Part::Length) return length;
  const float start = originOf(view, anchor.axis);
  return anchor.part == Part::Start ? start : anchor.part == Part::End ? start + length : start + length / 2;
}

/// One thing that a constraint says of a view: anchor = multiplier × (source's anchor) + constant.
struct Statement {
  Anchor anchor;
  const UIView* source;  ///< null: the constant alone
  Anchor sourceAnchor;
  float multiplier, constant;

  float value() const { return source ? multiplier * valueOf(source, sourceAnchor) + constant : constant; }
};

struct Placement {
  Strong<UIView> view;
  std::array<std::vector<Statement>, 2> statements;
  std::array<bool, 2> open{};
};

/// The span that the two latest different statements fix; with fewer, the rest stays as it is.
Span solve(const std::vector<Statement>& statements, Span present, float superviewOrigin) {
  std::optional<float> start, end, length, middle;
  int known = 0;
  for (auto s = statements.rbegin(); s != statements.rend() && known < 2; ++s) {
    std::optional<float>& slot = s->anchor.part == Part::Start    ? start
                                 : s->anchor.part == Part::End    ? end
                                 : s->anchor.part == Part::Length ? length
                                                                  : middle;
    if (slot) continue;
    slot = s->anchor.part == Part::Length ? s->value() : s->value() - superviewOrigin;
    ++known;
  }
  if (!length) {
    if (start && end) {
      length = *end - *start;
    } else if (start && middle) {
      length = 2 * (*middle - *start);
    } else if (end && middle) {
      length = 2 * (*end - *middle);
    } else {
      length = present.length;
    }
  }
  length = std::max(*length, 0.0f);
  if (start) return {*start, *length};
  if (end) return {*end - *length, *length};
  if (middle) return {*middle - *length / 2, *length};
  return {present.start, *length};
}

class Solver {
 public:
  Solver(UIView& holder, const std::vector<Strong<NSLayoutConstraint>>& constraints) : holder_(holder) {
    for (const auto& constraint : constraints) add(*constraint);
  }

  void run() {
    bool progress = true;
    while (progress) {
      progress = false;
      for (auto& placement : placements_) {
        for (const Axis axis : {Horizontal, Vertical}) {
          if (placement.open[axis] && isReady(placement, axis)) {
            place(placement, axis);
            progress = true;
          }
        }
      }
    }
    // Views that wait for each other in a circle are placed by what they have now.
    for (auto& placement : placements_) {
      for (const Axis axis : {Horizontal, Vertical}) {
        if (placement.open[axis]) place(placement, axis);
      }
    }
  }

 private:
  bool isPlacedHere(const Strong<UIView>& view) const {
    return view.get() != &holder_ && !view->translatesAutoresizingMaskIntoConstraints() &&
           holder_.containsView(view.get());
  }

  void add(const NSLayoutConstraint& constraint) {
    const auto anchor = anchorOf(constraint.firstAttribute());
    const auto otherAnchor = anchorOf(constraint.secondAttribute());
    const auto first = constraint.firstItem(), second = constraint.secondItem();
    if (!first || !anchor || constraint.relation() != NSLayoutRelation::Equal) return;
    if (constraint.refersToSecondItem() && !second) return;
    if (isPlacedHere(first)) {
      const bool relative = second && otherAnchor;
      state(first, {*anchor, relative ? second.get() : nullptr, relative ? *otherAnchor : Anchor{},
                    constraint.multiplier(), constraint.constant()});
    } else if (second && otherAnchor && isPlacedHere(second) && constraint.multiplier() != 0) {
      state(second, {*otherAnchor, first.get(), *anchor, 1 / constraint.multiplier(),
                     -constraint.constant() / constraint.multiplier()});
    }
  }

  void state(const Strong<UIView>& view, const Statement& statement) {
    auto place =
        std::find_if(placements_.begin(), placements_.end(), [&](const Placement& p) { return p.view == view; });
    if (place == placements_.end()) place = placements_.insert(placements_.end(), Placement{view, {}, {}});
    place->statements[statement.anchor.axis].push_back(statement);
    place->open[statement.anchor.axis] = true;
  }

  /// Whether `view` and all it lies in have their place on the axis.
  bool isSettled(const UIView* view, Axis axis) const {
    return std::none_of(placements_.begin(), placements_.end(),
                        [&](const Placement& p) { return p.open[axis] && p.view->containsView(view); });
  }

  bool isReady(const Placement& placement, Axis axis) const {
    const auto superview = placement.view->superview();
    if (!superview || !isSettled(superview.get(), axis)) return false;
    return std::all_of(placement.statements[axis].begin(), placement.statements[axis].end(),
                       [&](const Statement& s) { return !s.source || isSettled(s.source, s.sourceAnchor.axis); });
  }

  void place(Placement& placement, Axis axis) {
    placement.open[axis] = false;
    const auto superview = placement.view->superview();
    if (!superview) return;
    CGRect frame = placement.view->frame();
    const Span span = solve(placement.statements[axis], spanOf(frame, axis), originOf(superview.get(), axis));
    if (axis == Horizontal) {
      frame.origin.x = span.start;
      frame.size.width = span.length;
    } else {
      frame.origin.y = span.start;
      frame.size.height = span.length;
    }
    placement.view->setFrame(frame);
  }

  UIView& holder_;
  std::vector<Placement> placements_;
};

}  // namespace

void UIPlaceSubviewsByConstraints(UIView& holder, const std::vector<Strong<NSLayoutConstraint>>& constraints) {
  Solver(holder, constraints).run();
}
