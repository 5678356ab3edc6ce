#include "platform/UIKit/UITextField.h"

ZV_REGISTER_CLASS(UITextField, "UITextField", UITextInputView, {})
