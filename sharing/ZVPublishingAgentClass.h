#pragma once

#include "platform/Foundation/ObjCRuntime.h"
#include "sharing/ZVPublishingAgent.h"

/// The agent's class in the publishing plug-in, which is loaded at the first call. Ends the process with a report when
/// the plug-in or its class is not there. Main queue.
Class ZVPublishingAgentClass();

/// A new agent of that class; never null. Main queue.
Strong<ZVPublishingAgent> ZVMakePublishingAgent();
