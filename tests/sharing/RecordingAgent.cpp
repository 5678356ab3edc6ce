#include "tests/sharing/RecordingAgent.h"

ZV_REGISTER_CLASS(RecordingCategoryCell, "RecordingCategoryCell", UIView,
                  {{"setCategoryString:", runtime::method(&RecordingCategoryCell::setCategoryString)}})
ZV_REGISTER_CLASS(CategoryForm, "CategoryForm", UIViewController,
                  {{"_categoryCell", runtime::method(&CategoryForm::_categoryCell)}})
ZV_REGISTER_INSTANCE_VARIABLES(CategoryForm,
                               {{"_categories", runtime::instanceVariable(&CategoryForm::categories)},
                                {"_picker", runtime::instanceVariable(&CategoryForm::picker)},
                                {"_defaultCategory", runtime::instanceVariable(&CategoryForm::defaultCategory)}})

CategoryForm::CategoryForm(const std::vector<std::string>& identifiers) {
  std::vector<Strong<NSObject>> entries;
  std::vector<std::string> rows;
  for (const std::string& identifier : identifiers) {
    rows.push_back("label of " + identifier);
    entries.push_back(
        NSDictionary::dictionaryWithObjects({{categoryIDKey, NSString::stringWithString(identifier)},
                                             {categoryLabelKey, NSString::stringWithString(rows.back())}}));
  }
  categories = NSArray::arrayWithObjects(std::move(entries));
  picker->setRows(std::move(rows));
}
