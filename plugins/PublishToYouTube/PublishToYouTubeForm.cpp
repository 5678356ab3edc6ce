#include "plugins/PublishToYouTube/PublishToYouTubeForm.h"

#include "platform/UIKit/UINavigationItem.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/VideoCategories.h"
#include "sharing/ZVPublishingAgent.h"

#include <algorithm>
#include <utility>

using publishing::localized;

namespace {

constexpr CGFloat disabledAlpha = 0.5F;
constexpr int titleLength = 100;             // characters, the service's limit
constexpr const char* usualCategory = "23";  // of the service: Comedy

/// What a person has said in a form and not published; the rest is as forms begin.
struct Draft {
  std::optional<std::string> title, description, categoryIdentifier;
  std::optional<std::vector<std::string>> tags;
  std::optional<publishing::VideoDetails::Visibility> visibility;
  std::optional<bool> madeForChildren;
};

std::optional<Draft>& keptDraft() {
  static std::optional<Draft> draft;
  return draft;
}

template <class T>
std::optional<T> changed(const T& now, const T& before) {
  return now == before ? std::nullopt : std::optional(now);
}

}  // namespace

/// The table above, the panel below.
class PublishToYouTubeForm::FormView : public UIView {
 public:
  FormView(Strong<UITableView> table, Strong<PublishingStatusView> status)
      : table_(std::move(table)), status_(std::move(status)) {
    addSubview(table_);
    addSubview(status_);
  }

  void layoutSubviews() override {
    const CGSize size = bounds().size;
    const bool isHere = status_->superview().get() == this;
    const CGFloat height = isHere ? std::min(status_->heightForWidth(size.width), size.height) : 0;
    table_->setFrame(CGRectMake(0, 0, size.width, size.height - height));
    if (isHere) status_->setFrame(CGRectMake(0, size.height - height, size.width, height));
  }

 private:
  Strong<UITableView> table_;
  Strong<PublishingStatusView> status_;
};

ZV_REGISTER_CLASS(PublishToYouTubeForm, "PublishToYouTubeForm", UIViewController,
                  {{"_categoryCell", runtime::method(&PublishToYouTubeForm::_categoryCell)},
                   {"_selectComedyPickerRow", runtime::method(&PublishToYouTubeForm::_selectComedyPickerRow)},
                   {"cancel", runtime::method(&PublishToYouTubeForm::cancel)},
                   {"publish", runtime::method(&PublishToYouTubeForm::publish)},
                   {"controlChanged", runtime::method(&PublishToYouTubeForm::controlChanged)},
                   {"discardDraft", [](NSObject&, const Strong<NSObject>&) { PublishToYouTubeForm::discardDraft(); }}})
ZV_REGISTER_INSTANCE_VARIABLES(PublishToYouTubeForm,
                               {{"_table", runtime::instanceVariable(&PublishToYouTubeForm::table_)},
                                {"_categories", runtime::instanceVariable(&PublishToYouTubeForm::categories_)},
                                {"_picker", runtime::instanceVariable(&PublishToYouTubeForm::picker_)},
                                {"_defaultCategory",
                                 runtime::instanceVariable(&PublishToYouTubeForm::defaultCategory_)}})

void PublishToYouTubeForm::cancel() {
  if (handlers_.cancel) handlers_.cancel();
}

void PublishToYouTubeForm::publish() {
  // One press is enough, wherever the cursor is.
  if (isTyping() && handlers_.done) handlers_.done();
  if (handlers_.publish) handlers_.publish();
}

void PublishToYouTubeForm::endTyping() {
  view()->endEditing(true);
}

void PublishToYouTubeForm::controlChanged() {
  endTyping();
  personChanged();
}

void PublishToYouTubeForm::personChanged() {
  if (handlers_.changed) handlers_.changed();
}

bool PublishToYouTubeForm::windowShouldClose(const std::function<void()>& close) {
  return !handlers_.windowShouldClose || handlers_.windowShouldClose(close);
}

void PublishToYouTubeForm::loadView() {
  table_ = std::make_shared<UITableView>();
  const auto view = std::make_shared<FormView>(table_, status_);
  view->setFrame(CGRectMake(0, 0, 375, 623));
  view->setBackgroundColor(UIColor::whiteColor());
  setView(view);
}

void PublishToYouTubeForm::viewDidLoad() {
  std::vector<Strong<NSObject>> categories;
  std::vector<std::string> labels;
  for (const auto& category : publishing::videoCategories()) {
    labels.push_back(localized(category.label));
    categories.push_back(
        NSDictionary::dictionaryWithObjects({{categoryIDKey, NSString::stringWithString(category.identifier)},
                                             {categoryLabelKey, NSString::stringWithString(labels.back())}}));
  }
  categories_ = NSArray::arrayWithObjects(std::move(categories));
  picker_ = std::make_shared<UIPickerView>();
  picker_->setAccessibilityLabel(localized("Category"));
  picker_->setRows(std::move(labels));
  picker_->setSelectionHandler([this](int row) {
    categoryChosen(row);
    personChanged();
  });
  makeCells();

  const auto self = shared_from_this();
  cancelItem_ =
      UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::Cancel, self, "cancel");
  publishItem_ = UIBarButtonItem::initWithTitle_style_target_action(localized("Publish"), UIBarButtonItemStyle::Done,
                                                                    self, "publish");
  navigationItem()->setTitle("YouTube");
  navigationItem()->setLeftBarButtonItem(cancelItem_);
  navigationItem()->setRightBarButtonItem(publishItem_);
}

void PublishToYouTubeForm::makeCells() {
  titleCell_ = std::make_shared<PublishingTextFieldCell>();
  titleCell_->setCaption(localized("Title"));
  titleCell_->textField()->setPlaceholder(localized("Required"));
  titleCell_->textField()->setMaximumLength(titleLength);
  descriptionCell_ = std::make_shared<PublishingDescriptionCell>();
  descriptionCell_->setCaption(localized("Description"));
  tagsCell_ = std::make_shared<PublishingTextFieldCell>();
  tagsCell_->setCaption(localized("Tags"));
  tagsCell_->textField()->setPlaceholder(localized("With commas between them"));
  titleCell_->textField()->setDelegate(this);
  descriptionCell_->textView()->setDelegate(this);
  tagsCell_->textField()->setDelegate(this);

  categoryCell_ = std::make_shared<PublishingCategoryCell>();
  categoryCell_->textLabel()->setText(localized("Category"));
  categoryCell_->setSelectionHandler([this] { togglePicker(); });
  pickerCell_ = PublishingViewCell::cellWithView(picker_);
  pickerCell_->setHidden(true);

  visibility_ = UISegmentedControl::initWithItems({localized("Private"), localized("Unlisted"), localized("Public")});
  const auto visibilityCell = PublishingControlCell::cellWithCaption_control(localized("Visibility"), visibility_);
  madeForChildren_ = std::make_shared<UISwitch>();
  const auto childrenCell =
      PublishingControlCell::cellWithCaption_control(localized("Made for Children"), madeForChildren_);

  accountCell_ = std::make_shared<UITableViewCell>();
  accountCell_->textLabel()->setText(localized("Use Another Account"));
  accountCell_->setHidden(true);
  accountCell_->setSelectionHandler([this] {
    if (handlers_.changeAccount) handlers_.changeAccount();
  });

  const auto self = shared_from_this();
  for (const Strong<UIControl>& control : std::initializer_list<Strong<UIControl>>{visibility_, madeForChildren_}) {
    control->addTarget_action_forControlEvents(self, "controlChanged", UIControlEventValueChanged);
  }

  table_->setSections(
      {{"", "", {titleCell_, descriptionCell_}},
       {"", "", {categoryCell_, pickerCell_, tagsCell_}},
       {"",
        localized("Only you see a private video. Everybody who has its address sees an unlisted one."),
        {visibilityCell}},
       {"", localized("Whether the video is aimed at children has to be stated by law."), {childrenCell}},
       {"", "", {accountCell_}}});
}

void PublishToYouTubeForm::viewWillAppear(bool animated) {
  UIViewController::viewWillAppear(animated);
  if (!untouched_) {
    performSelector("_selectComedyPickerRow");  // by name: others may have put theirs in its place
    untouched_ = details();
    takeDraft();
  }
  if (handlers_.willBeDisplayed) handlers_.willBeDisplayed();
}

void PublishToYouTubeForm::_selectComedyPickerRow() {
  chooseCategory(usualCategory);
}

void PublishToYouTubeForm::chooseCategory(const std::string& identifier) {
  const auto& categories = publishing::videoCategories();
  for (std::size_t i = 0; i < categories.size(); ++i) {
    if (categories[i].identifier != identifier) continue;
    picker_->selectRow_inComponent_animated(static_cast<int>(i), 0, false);
    categoryChosen(static_cast<int>(i));
  }
}

void PublishToYouTubeForm::categoryChosen(int row) {
  const auto& categories = categories_->objects();
  if (row < 0 || row >= static_cast<int>(categories.size())) return;
  const auto category = std::dynamic_pointer_cast<NSDictionary>(categories[static_cast<std::size_t>(row)]);
  if (!category) return;
  defaultCategory_ = NSString::stringWithString(category->stringForKey(categoryIDKey));
  categoryCell_->setCategoryString(NSString::stringWithString(category->stringForKey(categoryLabelKey)));
}

void PublishToYouTubeForm::togglePicker() {
  view()->endEditing(true);
  pickerCell_->setHidden(!pickerCell_->isHidden());
  table_->setNeedsLayout();
  if (pickerCell_->isHidden()) return;
  table_->layoutIfNeeded();
  table_->scrollRectToVisible_animated(pickerCell_->frame(), true);
}

publishing::VideoDetails PublishToYouTubeForm::details() const {
  publishing::VideoDetails details;
  details.title = titleCell_->textField()->text();
  details.description = descriptionCell_->textView()->text();
  details.categoryIdentifier = defaultCategory_ ? defaultCategory_->text() : std::string();
  details.tags = publishing::tagsInLine(tagsCell_->textField()->text());
  using Visibility = publishing::VideoDetails::Visibility;
  constexpr Visibility choices[] = {Visibility::Private, Visibility::Unlisted, Visibility::Public};
  details.visibility = choices[visibility_->selectedSegmentIndex()];
  details.madeForChildren = madeForChildren_->isOn();
  return details;
}

void PublishToYouTubeForm::setDetails(const publishing::VideoDetails& details) {
  view();
  titleCell_->textField()->setText(details.title);
  descriptionCell_->setValue(NSString::stringWithString(details.description));
  std::string tags;
  for (const std::string& tag : details.tags) tags += (tags.empty() ? "" : ", ") + tag;
  tagsCell_->textField()->setText(tags);
  chooseCategory(details.categoryIdentifier);
  visibility_->setSelectedSegmentIndex(static_cast<int>(details.visibility));
  madeForChildren_->setOn_animated(details.madeForChildren, false);
  table_->setNeedsLayout();
}

void PublishToYouTubeForm::suggestDetails(const publishing::VideoDetails& details) {
  if (!untouched_) return;
  setDetails(details);
  suggested_ = this->details();
}

bool PublishToYouTubeForm::isFilledIn() const {
  return untouched_ && details() != (suggested_ ? *suggested_ : *untouched_);
}

void PublishToYouTubeForm::keepDraft() const {
  if (!untouched_) return;
  const publishing::VideoDetails now = details();
  if (now == *untouched_) return;
  keptDraft() = Draft{changed(now.title, untouched_->title),
                      changed(now.description, untouched_->description),
                      changed(now.categoryIdentifier, untouched_->categoryIdentifier),
                      changed(now.tags, untouched_->tags),
                      changed(now.visibility, untouched_->visibility),
                      changed(now.madeForChildren, untouched_->madeForChildren)};
}

void PublishToYouTubeForm::takeDraft() {
  const auto draft = std::exchange(keptDraft(), std::nullopt);
  if (!draft) return;
  publishing::VideoDetails details = *untouched_;
  details.title = draft->title.value_or(details.title);
  details.description = draft->description.value_or(details.description);
  details.categoryIdentifier = draft->categoryIdentifier.value_or(details.categoryIdentifier);
  details.tags = draft->tags.value_or(details.tags);
  details.visibility = draft->visibility.value_or(details.visibility);
  details.madeForChildren = draft->madeForChildren.value_or(details.madeForChildren);
  setDetails(details);
}

void PublishToYouTubeForm::discardDraft() {
  keptDraft().reset();
}

void PublishToYouTubeForm::setStatus(PublishingStatusView::Status status) {
  status_->setStatus(std::move(status));
  if (const auto around = status_->superview(); around && around != view()) {
    raiseStatus(around);
  } else {
    view()->setNeedsLayout();
  }
}

void PublishToYouTubeForm::raiseStatus(const Strong<UIView>& view) {
  const CGSize size = view->bounds().size;
  const CGFloat height = std::min(status_->heightForWidth(size.width), size.height);
  status_->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleTopMargin);
  status_->setFrame(CGRectMake(0, size.height - height, size.width, height));
  view->addSubview(status_);
}

void PublishToYouTubeForm::setEditable(bool editable) {
  if (!editable) view()->endEditing(true);
  isEditable_ = editable;
  titleCell_->textField()->setEnabled(editable);
  descriptionCell_->textView()->setEnabled(editable);
  tagsCell_->textField()->setEnabled(editable);
  for (const Strong<UIView>& cell :
       std::initializer_list<Strong<UIView>>{categoryCell_, pickerCell_, visibility_, madeForChildren_, accountCell_}) {
    cell->setUserInteractionEnabled(editable);
  }
  for (const Strong<UIView>& control : std::initializer_list<Strong<UIView>>{visibility_, madeForChildren_}) {
    control->setAlpha(editable ? 1 : disabledAlpha);
  }
  publishItem_->setEnabled(isEditable_ && canPublish_);
}

void PublishToYouTubeForm::setCanPublish(bool can) {
  canPublish_ = can;
  publishItem_->setEnabled(isEditable_ && canPublish_);
}

void PublishToYouTubeForm::setHasAccount(bool has) {
  view();
  accountCell_->setHidden(!has);
  table_->setNeedsLayout();
}

bool PublishToYouTubeForm::isTyping() const {
  return titleCell_->textField()->isFirstResponder() || descriptionCell_->textView()->isFirstResponder() ||
         tagsCell_->textField()->isFirstResponder();
}

void PublishToYouTubeForm::textInputDidChange(UITextInputView&) {
  personChanged();
}
