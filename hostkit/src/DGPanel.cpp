// DGPanel.cpp: panels and dialogs: their items, their client size, title and icon, and the
// observers they notify.
#include "hostkit/DG.h"
#include "hostkit/DGModal.h"

#include <algorithm>

namespace DG {

namespace {

template <typename Observer> void AttachOnce(std::vector<Observer*>& list, Observer& observer) {
    if (std::find(list.begin(), list.end(), &observer) == list.end()) {
        list.push_back(&observer);
    }
}

template <typename Observer> void DetachAll(std::vector<Observer*>& list, Observer& observer) {
    list.erase(std::remove(list.begin(), list.end(), &observer), list.end());
}

}  // namespace

Panel::~Panel() {
    // Items that outlive their panel must not reach back into it.
    for (Item* item : items) {
        item->panel = nullptr;
    }
}

void Panel::Unregister(Item& item) {
    items.erase(std::remove(items.begin(), items.end(), &item), items.end());
}

void Panel::ShowItems() {
    // A copy: a view told of the change may not change the list, but the list must not move
    // under the loop if it does.
    const std::vector<Item*> shown = items;
    for (Item* item : shown) {
        item->SetVisibility(true);
    }
}

void Panel::RedrawItems() {
    if (view != nullptr) {
        view->DialogChanged();
    }
}

void Panel::Attach(PanelObserver& observer) { AttachOnce(observers, observer); }

void Panel::Detach(PanelObserver& observer) { DetachAll(observers, observer); }

void Panel::SetClientSize(int16_t newWidth, int16_t newHeight) {
    width = newWidth;
    height = newHeight;
    if (view != nullptr) {
        view->DialogChanged();
    }
}

// Each notification goes to the observers attached when it began, as a handler may detach.
void Panel::NotifyOpened() {
    PanelOpenEvent event;
    event.source = this;
    for (PanelObserver* observer : std::vector<PanelObserver*>(observers)) {
        observer->PanelOpened(event);
    }
}

void Panel::NotifyResized(int16_t horizontalChange, int16_t verticalChange) {
    PanelResizeEvent event;
    event.source = this;
    event.horizontalChange = horizontalChange;
    event.verticalChange = verticalChange;
    for (PanelObserver* observer : std::vector<PanelObserver*>(observers)) {
        observer->PanelResized(event);
    }
}

void Panel::NotifyClosed() {
    PanelCloseEvent event;
    event.source = this;
    for (PanelObserver* observer : std::vector<PanelObserver*>(observers)) {
        observer->PanelClosed(event);
    }
}

void Dialog::SetTitle(const GS::UniString& newTitle) {
    title = newTitle;
    if (GetView() != nullptr) {
        GetView()->DialogChanged();
    }
}

void Dialog::SetIcon(const Icon& newIcon) {
    icon = newIcon;
    if (GetView() != nullptr) {
        GetView()->DialogChanged();
    }
}

void Dialog::Resize(int16_t widthChange, int16_t heightChange, int32_t /*fixPoint*/,
                    bool /*keepCenter*/) {
    // 16-bit sizes, as the host keeps them.
    SetClientSize(static_cast<int16_t>(GetWidth() + widthChange),
                  static_cast<int16_t>(GetHeight() + heightChange));
    if (hostkit::DialogPresenter* presenter = hostkit::CurrentDialogPresenter()) {
        presenter->DialogResized(*this, widthChange, heightChange);
    }
    NotifyResized(widthChange, heightChange);
}

}  // namespace DG
