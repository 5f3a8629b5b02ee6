// DgTestSupport.h: what the dialog tests share: a view that records what reaches it, a panel and
// a modal dialog whose protected parts a test may call, and observers that record what they hear.
#pragma once

#include "hostkit/DG.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace dgtest {

class RecordingView final : public DG::DialogView {
public:
    void ItemChanged(DG::Item& item, DG::Item::Aspect aspect) override {
        changes.emplace_back(&item, aspect);
    }
    void DialogChanged() override { ++dialogChanges; }

    std::vector<std::pair<DG::Item*, DG::Item::Aspect>> changes;
    int dialogChanges = 0;
};

class TestPanel : public DG::Panel {
public:
    TestPanel(int16_t width = 300, int16_t height = 200) : Panel(width, height) {}
    using Panel::NotifyClosed;
    using Panel::NotifyOpened;
    using Panel::NotifyResized;
    using Panel::SetClientSize;
};

class TestDialog : public DG::ModalDialog {
public:
    explicit TestDialog(const DG::Rect& rect = DG::Rect(0, 0, 500, 250)) : ModalDialog(rect) {}
};

// Records every panel notification as "opened", "resized W H" or "closed", with its source.
class PanelRecorder : public DG::PanelObserver {
public:
    void PanelOpened(const DG::PanelOpenEvent& event) override { Note("opened", event); }
    void PanelResized(const DG::PanelResizeEvent& event) override {
        Note("resized " + std::to_string(event.horizontalChange) + " " +
                 std::to_string(event.verticalChange),
             event);
    }
    void PanelClosed(const DG::PanelCloseEvent& event) override { Note("closed", event); }

    std::vector<std::string> heard;
    std::vector<DG::Panel*> sources;

private:
    void Note(const std::string& what, const DG::PanelEvent& event) {
        heard.push_back(what);
        sources.push_back(event.GetSource());
    }
};

// Runs `onClick` for every click it hears.
class ClickObserver : public DG::ButtonItemObserver {
public:
    explicit ClickObserver(std::function<void(DG::ButtonItem*)> onClick = {})
        : onClick(std::move(onClick)) {}
    void ButtonClicked(const DG::ButtonClickEvent& event) override {
        sources.push_back(event.GetSource());
        if (onClick) {
            onClick(event.GetSource());
        }
    }

    std::function<void(DG::ButtonItem*)> onClick;
    std::vector<DG::ButtonItem*> sources;
};

// A dialog as the add-on builds one: a close button made first (the cancel button, whose handler
// aborts), a label, two row buttons that disable themselves and fill the label, and a grey strip.
class SampleDialog : public TestDialog, public DG::ButtonItemObserver {
public:
    explicit SampleDialog(bool withCancel = true, bool cancelAborts = true)
        : close(*this, DG::Rect(210, 215, 290, 245)), label(*this, DG::Rect(10, 10, 400, 30)),
          first(*this, DG::Rect(410, 10, 490, 40)), second(*this, DG::Rect(410, 60, 490, 90)),
          strip(*this, DG::Rect(0, 210, 500, 250)), cancelAborts(cancelAborts) {
        close.SetText(GS::UniString("Zavřít", CC_UTF8));
        if (withCancel) {
            close.SetAsCancel();
        }
        first.SetText(GS::UniString("Aktualizovat", CC_UTF8));
        second.SetText(GS::UniString("Aktualizovat", CC_UTF8));
        label.SetFontSize(-1);
        label.SetFontStyle(16);
        strip.SetBackground(Gfx::Color(0xF7, 0xF7, 0xF7));
        close.Attach(*this);
        first.Attach(*this);
        second.Attach(*this);
        ShowItems();
        SetTitle(GS::UniString("Seznam aktualizovatelných objektů", CC_UTF8));
    }

    void ButtonClicked(const DG::ButtonClickEvent& event) override {
        clicked.push_back(event.GetSource());
        if (event.GetSource() == &close) {
            if (cancelAborts) {
                Abort();
            }
            return;
        }
        if (onRowClick) {
            onRowClick();
            return;
        }
        static_cast<DG::Button*>(event.GetSource())->Disable();
        label.SetText(GS::UniString("Probíhá stahování", CC_UTF8));
    }

    DG::Button close;
    DG::LeftText label;
    DG::Button first;
    DG::Button second;
    DG::UserItem strip;
    bool cancelAborts;
    // Replaces what a row button does by default.
    std::function<void()> onRowClick;
    std::vector<DG::ButtonItem*> clicked;
};

}  // namespace dgtest
