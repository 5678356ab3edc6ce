#include "platform/Foundation/NSValueObjects.h"

ZV_REGISTER_CLASS(NSString, "NSString", NSObject, {})
ZV_REGISTER_CLASS(NSArray, "NSArray", NSObject, {})
ZV_REGISTER_CLASS(NSDictionary, "NSDictionary", NSObject, {})
