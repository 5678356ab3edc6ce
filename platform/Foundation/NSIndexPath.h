#pragma once

/// The place of a cell: a section, and a row ("item") in it, both from 0.
struct NSIndexPath {
  int item = 0;
  int section = 0;

  static NSIndexPath indexPathForItem_inSection(int item, int section) { return {item, section}; }
  friend bool operator==(const NSIndexPath&, const NSIndexPath&) = default;
};
