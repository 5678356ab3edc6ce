#pragma once

#include "platform/backends/qt/QtEditorWindow.h"

#include <gtest/gtest.h>

/// The program's one window.
QtEditorWindow& theWindow();
