#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSValueObjects.h"
#include "platform/Foundation/os_trace.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace {

std::shared_ptr<NSString> text(const char* value) {
  return NSString::stringWithString(value);
}
std::string textOf(const std::shared_ptr<NSObject>& object) {
  const auto string = std::dynamic_pointer_cast<NSString>(object);
  return string ? string->text() : "(none)";
}

class Form : public NSObject {
  ZV_OBJECT(Form)
  ZV_INSTANCE_VARIABLES(Form)
 public:
  std::shared_ptr<NSString> label() { return label_; }
  std::shared_ptr<NSObject> anything() { return anything_; }
  void chooseDefault() { label_ = text("own"); }

 private:
  std::shared_ptr<NSString> label_ = text("new");
  std::shared_ptr<NSObject> anything_;
};

class LargeForm : public Form {
  ZV_OBJECT(LargeForm)
};

class Visitor : public NSObject {
  ZV_OBJECT(Visitor)
};

}  // namespace

ZV_REGISTER_CLASS(Form, "RuntimeTestForm", NSObject,
                  {{"label", runtime::method(&Form::label)},
                   {"chooseDefault", runtime::method(&Form::chooseDefault)},
                   {"echo:", [](NSObject&, const std::shared_ptr<NSObject>& argument) { return argument; }}})
ZV_REGISTER_INSTANCE_VARIABLES(Form, {{"_label", runtime::instanceVariable(&Form::label_)},
                                      {"_anything", runtime::instanceVariable(&Form::anything_)}})
ZV_REGISTER_CLASS(LargeForm, "RuntimeTestLargeForm", Form, {})
ZV_REGISTER_CLASS(Visitor, "RuntimeTestVisitor", NSObject, {{"chooseDefault", [](NSObject& self, const auto&) {
                                                               const Ivar variable =
                                                                   class_getInstanceVariable(self.class_(), "_label");
                                                               object_setIvar(&self, variable, text("visitor's"));
                                                             }}})

TEST(Runtime, ReachesTheNamedPartsOfAnObjectAndNothingElse) {
  const auto form = NSClassFromString("RuntimeTestLargeForm")->makeInstance();
  const Ivar label = class_getInstanceVariable(form->class_(), "_label");
  ASSERT_NE(label, nullptr) << "also of the superclass";
  EXPECT_EQ(class_getInstanceVariable(form->class_(), "_other"), nullptr);
  EXPECT_EQ(class_getInstanceVariable(nullptr, "_label"), nullptr);
  EXPECT_EQ(textOf(object_getIvar(form.get(), label)), "new");
  object_setIvar(form.get(), label, text("set"));
  EXPECT_EQ(textOf(form->performSelector("label")), "set") << "a message gives back its object";
  object_setIvar(form.get(), label, std::make_shared<NSArray>());
  EXPECT_EQ(textOf(form->performSelector("label")), "set") << "a list is no text";
  object_setIvar(form.get(), label, nullptr);
  EXPECT_EQ(form->performSelector("label"), nullptr);
  const Ivar anything = class_getInstanceVariable(form->class_(), "_anything");
  object_setIvar(form.get(), anything, form->performSelector_withObject("echo:", text("back")));
  EXPECT_EQ(textOf(object_getIvar(form.get(), anything)), "back");
  EXPECT_EQ(object_getIvar(nullptr, anything), nullptr);
  EXPECT_EQ(object_getIvar(form.get(), nullptr), nullptr);
  EXPECT_EQ(form->performSelector("chooseDefault"), nullptr) << "a method without a result";
  EXPECT_EQ(form->performSelector("unknown"), nullptr);
  object_setIvar(form.get(), anything, nullptr);
}

TEST(Runtime, AnExchangedMethodRunsWithTheOtherClassesReceiver) {
  const auto form = NSClassFromString("RuntimeTestForm")->makeInstance();
  const Class visitor = NSClassFromString("RuntimeTestVisitor");
  const auto exchange = [&] {
    method_exchangeImplementations(form->class_(), "chooseDefault", visitor, "chooseDefault");
    form->performSelector("chooseDefault");
    return textOf(form->performSelector("label"));
  };
  EXPECT_EQ(exchange(), "visitor's");
  EXPECT_EQ(exchange(), "own");
}

TEST(Runtime, ALibraryThatCannotBeLoadedSaysWhy) {
  const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  EXPECT_EQ(systemPath("/System/Library/A"), folder + "/System/Library/A");
  EXPECT_EQ(systemPath("/usr/lib/A"), "/usr/lib/A");
  EXPECT_EQ(dlopen_now("/System/Library/None"), nullptr);
  EXPECT_NE(dlerror_text().find(folder + "/System/Library/None"), std::string::npos);
  EXPECT_EQ(dlerror_text(), "");
}

TEST(RuntimeDeathTest, AReportEndsTheProcessWithItsText) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(abort_report_np("Unable to find class %s", "A%s"), testing::KilledBySignal(SIGABRT),
              "zevanti: Unable to find class A%s");
}
