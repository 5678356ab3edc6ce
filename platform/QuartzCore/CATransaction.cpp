#include "platform/QuartzCore/CATransaction.h"

#include <utility>

namespace {

bool pending = false;

std::function<void()>& commitHandler() {
  static auto& handler = *new std::function<void()>;
  return handler;
}

}  // namespace

void CATransaction::setNeedsCommit() {
  if (pending) return;
  pending = true;
  if (const auto handler = commitHandler()) handler();
}

void CATransaction::commit() {
  pending = false;
}

void CATransaction::setCommitHandler(std::function<void()> handler) {
  commitHandler() = std::move(handler);
  // Changes made before there was a back end are not lost.
  if (const auto current = commitHandler(); pending && current) current();
}
