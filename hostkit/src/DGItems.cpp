// DGItems.cpp: the dialog items (texts, buttons, user items) and their properties; every change
// is told to ItemChanged, so that the backend showing the dialog follows it.
#include "hostkit/DG.h"

#include <algorithm>

namespace Gfx {

const Color Color::Black(0, 0, 0);

}  // namespace Gfx

namespace DG {

void ItemTextProperty::SetText(const GS::UniString& newText) {
    text = newText;
    ItemChanged(Aspect::Text);
}

void ItemFontProperty::SetFontSize(int32_t size) {
    fontSize = size;
    ItemChanged(Aspect::Font);
}

void ItemFontProperty::SetFontStyle(int32_t style) {
    fontStyle = style;
    ItemChanged(Aspect::Font);
}

void ItemColorProperty::SetTextColor(const Gfx::Color& color) {
    textColor = color;
    ItemChanged(Aspect::Color);
}

LeftText::LeftText(Panel& panel, const Rect& rect, int32_t /*frameType*/, int32_t /*verticalAlign*/,
                   int32_t /*truncation*/)
    : Item(panel, rect) {}

void ButtonItem::Attach(ButtonItemObserver& observer) {
    if (std::find(observers.begin(), observers.end(), &observer) == observers.end()) {
        observers.push_back(&observer);
    }
}

void ButtonItem::Detach(ButtonItemObserver& observer) {
    observers.erase(std::remove(observers.begin(), observers.end(), &observer), observers.end());
}

bool ButtonItem::Click() {
    if (!IsVisible() || !IsEnabled()) {
        return false;
    }
    // A handler may detach itself or others: the click goes to those attached when it came.
    const std::vector<ButtonItemObserver*> listeners = observers;
    const ButtonClickEvent event{this};
    for (ButtonItemObserver* observer : listeners) {
        observer->ButtonClicked(event);
    }
    return true;
}

Button::Button(Panel& panel, const Rect& rect, int32_t /*buttonType*/, int32_t /*frameType*/)
    : Item(panel, rect) {}

void Button::SetAsCancel() {
    // A dialog has one cancel button: the last one set.
    if (Panel* panel = GetPanel()) {
        for (Item* item : panel->GetItems()) {
            if (auto* other = dynamic_cast<Button*>(item); other != nullptr && other != this) {
                other->cancel = false;
            }
        }
    }
    cancel = true;
}

UserItem::UserItem(Panel& panel, const Rect& rect, int32_t /*userItemType*/, int32_t /*frameType*/)
    : Item(panel, rect) {}

void UserItem::SetBackground(const Gfx::Color& color) {
    background = color;
    hasBackground = true;
    ItemChanged(Aspect::Background);
}

}  // namespace DG
