// The in-memory list view.
#include "packs/views.h"

#include "runtime/errors.h"
#include "runtime/vbstring.h"

namespace ravelin::packs {

std::optional<int32_t> ListView::FindText(const std::u16string& text) const {
  const auto& items = Items();
  for (size_t i = 0; i < items.size(); ++i)
    if (TextEquals(items[i].Text, text)) return static_cast<int32_t>(i);
  return std::nullopt;
}

void MemoryListView::Clear() {
  items_.clear();
  selected_.reset();
}

int32_t MemoryListView::Add(ListItem item) {
  items_.push_back(std::move(item));
  return static_cast<int32_t>(items_.size()) - 1;
}

void MemoryListView::Remove(int32_t index) {
  if (index < 0 || index >= Count()) RaiseError(errnum::kSubscriptOutOfRange);
  items_.erase(items_.begin() + index);
  if (selected_ && *selected_ >= Count()) selected_ = Count() > 0 ? std::optional<int32_t>(Count() - 1) : std::nullopt;
}

ListItem& MemoryListView::Item(int32_t index) {
  if (index < 0 || index >= Count()) RaiseError(errnum::kSubscriptOutOfRange);
  return items_[static_cast<size_t>(index)];
}

void MemoryListView::Select(std::optional<int32_t> index) {
  if (index && (*index < 0 || *index >= Count())) RaiseError(errnum::kSubscriptOutOfRange);
  selected_ = index;
}

std::optional<int32_t> MemoryListView::ColumnIndex(const std::u16string& key) const {
  for (size_t i = 0; i < columns_.size(); ++i)
    if (TextEquals(columns_[i], key)) return static_cast<int32_t>(i);
  return std::nullopt;
}

}  // namespace ravelin::packs
