#pragma once

#include "platform/UIKit/UIWindow.h"

#include <string>

class ZVVideoEditorViewController;

/// The editor's state as one line of JSON:
///
/// - "size": [width, height] of the window in points; "scale": pixels in a point
/// - "flags": the editor's flags by name (trimming, scrubbing, exporting, uiHidden, introMode, padMode, hasEdit)
/// - "playing", "playhead" (where the player stands), "duration": seconds
/// - "range": the editor's trimmed range; "handles": where the timeline's handles stand (null when not trimming)
/// - "topToolBar", "bottomToolBar": names of the items from left to right; null for a bar that is not on screen
/// - "reachable": the names of everything that can be tapped now
/// - "sheet": of the share sheet its "style" ("sheet" or "popover"), the "activities" by type and their "titles", in
///   order; "alert": its "title", "message" and "buttons"; null for what is not on screen
/// - "presented": the classes of what is presented, from back to front
/// - "movie": the path of the movie on screen; "activityTypes": what was saved or shared so far
/// - "frames": [x, y, width, height] of the main views in the window; null for one that is not on screen
std::string editorState(ZVVideoEditorViewController& editor, UIWindow& window);

/// The tree of views, one a line: class, frame in its superview, what is unusual about it, its text.
std::string viewTree(const UIView& view);
