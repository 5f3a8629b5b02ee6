// SummaryDialog.cpp: the summary dialog's construction, in the order its items come to be, and
// its notifications.
#include "ui/SummaryDialog.h"

#include "addon/ObjectUpdate.h"
#include "catalogue/MessageCatalogue.h"
#include "common/CUtils.h"
#include "hostkit/IOLocation.h"

#include <initializer_list>
#include <string>

namespace {

constexpr int16_t kClientWidth = 500;
constexpr int16_t kClientHeight = 250;
constexpr int16_t kRowHeight = 50;
constexpr int32_t kRowsWithoutGrowing = 4;
constexpr int32_t kFontSizeLarge = 0;
constexpr int32_t kFontSizeSmall = -1;
constexpr int32_t kVerticalAlignCenter = 0x400;
const Gfx::Color kButtonBarGrey(0xF7, 0xF7, 0xF7, 0xFF);
// A flow places its children in order and takes no position.
constexpr int32_t kInFlow = 0;

// The catalogue's text for a state; empty for a value that is none.
GS::UniString StateText(int32_t state) {
    switch (state) {
    case StateUnknown:
        return MessageString(kMessageStateUnknown);
    case StateUpToDate:
        return MessageString(kMessageStateUpToDate);
    case StateUpdateAvailable:
        return MessageString(kMessageStateUpdateAvailable);
    case StateTestVersion:
        return MessageString(kMessageStateTestVersion);
    default:
        return GS::UniString();
    }
}

// The icon's file: "Graphics/brennerstein.png" in the add-on module's folder.
IO::Location IconLocation() {
    const WString folder = CUtils::GetModuleDirectory();
    IO::Location location(GS::UniString(folder.c_str(), static_cast<USize>(folder.size())));
    location.AppendToLocal(IO::Name(GS::UniString("Graphics")));
    location.AppendToLocal(IO::Name(GS::UniString("brennerstein.png")));
    return location;
}

}  // namespace

void SummaryDialog::ItemPanel::OnProgress(uint32_t, int32_t, int32_t percent) {
    if (percent < 1) {
        return;
    }
    // Built and let go: the row keeps showing "downloading" for the whole download.
    [[maybe_unused]] const std::string text = std::to_string(percent) + "%";
}

void SummaryDialog::ItemPanel::OnFileName(const GS::UniString& name) { fileName = name; }

SummaryDialog::SummaryDialog(ObjectsMonitor& monitor)
    : DG::ModalDialog(DG::Rect(0, 0, kClientWidth, kClientHeight), 0, 0, 0, GS::NULLGuid) {
    try {
        layout = new DockLayout(10, 10, 10, 40);

        closeButton = new DG::Button(*this, DG::Rect(), 0, 0);
        closeButton->SetText(MessageString(kMessageClose));
        closeButton->SetAsCancel();
        closeButton->Attach(*this);

        // Margins: they only take room.
        for (int32_t position : {DockLeft, DockRight, DockTop}) {
            layout->AddItem(new DG::UserItem(*this, DG::Rect(), 0, 0), position, DG::Point());
        }

        // The button bar: the close button centred, grey strips around it.
        auto* bar = new FlowLayout(true, 0, 0, true);
        auto* barAlign = new AlignLayout(-1, -1, 50, 50);
        for (int32_t position : {DockRight, DockTop, DockBottom, DockLeft}) {
            auto* strip = new DG::UserItem(*this, DG::Rect(), 0, 0);
            strip->SetBackground(kButtonBarGrey);
            barAlign->AddItem(strip, position, DG::Point());
        }
        bar->AddItem(closeButton, kInFlow, DG::Point(80, 30));
        barAlign->AddChild(bar, DockCenter);
        layout->AddChild(barAlign, DockBottom);

        // The row list, from the top.
        auto* rows = new FlowLayout(false, 0, 0, true);
        auto* rowDock = new DockLayout(0, -1, 0, 0);
        rowDock->AddChild(rows, DockTop);
        layout->AddChild(rowDock, DockCenter);

        const auto& table = monitor.GetTable();
        for (const auto& entry : table) {
            AddRow(*rows, entry.key, entry.value);
        }
        const int32_t extraRows = static_cast<int32_t>(table.GetSize()) - kRowsWithoutGrowing;
        if (extraRows >= 1) {
            // The product is the host's 16-bit height change.
            Resize(0, static_cast<int16_t>(extraRows * kRowHeight), 0, false);
        }

        ShowItems();
        SetTitle(MessageString(kMessageSummaryTitle));
        const GX::Image image(IconLocation());
        SetIcon(DG::Icon(image.ToDGIcon()));
        if (layout != nullptr) {
            layout->SetBounds(0, 0, GetWidth(), GetHeight());
        }
        // Attached last, so that the resize above reaches no notification.
        Attach(static_cast<DG::PanelObserver&>(*this));
    } catch (...) {
        delete layout;
        throw;
    }
}

SummaryDialog::~SummaryDialog() {
    Detach(static_cast<DG::PanelObserver&>(*this));
    delete layout;
}

void SummaryDialog::AddRow(Layout& rows, int32_t key, const VersionCheckState& record) {
    auto* row = new DockLayout(-1, 0, -1, -1);
    ItemPanel panel;
    panel.key = key;
    panel.downloadUrl = record.downloadUrl;
    panel.progressLabel = MakeText(GS::UniString(), kFontSizeSmall);
    DG::LeftText* nameLabel = MakeText(record.name, kFontSizeLarge);
    nameLabel->SetFontStyle(DG::ItemFontProperty::kFontStyleBold);
    panel.stateLabel = MakeText(StateText(record.state), kFontSizeSmall);

    auto* progressFlow = new FlowLayout(false, 0, 0, true);
    progressFlow->AddItem(panel.progressLabel, kInFlow, DG::Point(0, 20));
    row->AddChild(progressFlow, DockBottom);
    // Eight pixels a character is all the measuring the name column gets; the width is the
    // host's 16-bit value.
    const auto nameWidth = static_cast<int16_t>(8 * static_cast<int64_t>(record.name.GetLength()));
    row->AddItem(nameLabel, DockLeft, DG::Point(nameWidth, 30));
    if (!record.downloadUrl.IsEmpty() && record.state != StateUpToDate) {
        panel.updateButton = new DG::Button(*this, DG::Rect(), 0, 0);
        panel.updateButton->SetText(MessageString(kMessageUpdate));
        panel.updateButton->Attach(*this);
        row->AddItem(panel.updateButton, DockRight, DG::Point(80, 30));
    }
    row->AddItem(panel.stateLabel, DockCenter, DG::Point());
    rows.AddChild(row, kInFlow);
    // Each item says which row it stands in, from 1, whether the row has a button or not.
    const auto rowNumber = static_cast<int32_t>(panels.GetSize() + 1);
    for (DG::Item* item : std::initializer_list<DG::Item*>{panel.progressLabel, nameLabel,
                                                           panel.stateLabel, panel.updateButton}) {
        if (item != nullptr) {
            item->SetRow(rowNumber);
        }
    }
    panels.Push(panel);
}

DG::LeftText* SummaryDialog::MakeText(const GS::UniString& text, int32_t fontSize) {
    auto* label = new DG::LeftText(*this, DG::Rect(), 0, kVerticalAlignCenter, 0);
    label->SetText(text);
    label->SetTextColor(Gfx::Color::Black);
    label->SetFontSize(fontSize);
    return label;
}

// The dialog looks at where the notification comes from and needs nothing more at opening.
void SummaryDialog::PanelOpened(const DG::PanelOpenEvent& event) { event.GetSource(); }

void SummaryDialog::PanelResized(const DG::PanelResizeEvent& event) {
    if (event.GetSource() == this && layout != nullptr) {
        layout->SetBounds(0, 0, GetWidth(), GetHeight());
    }
    RedrawItems();
}

void SummaryDialog::ButtonClicked(const DG::ButtonClickEvent& event) {
    DG::ButtonItem* source = event.GetSource();
    if (source == closeButton) {
        Abort();
        return;
    }
    ItemPanel* row = nullptr;
    for (ItemPanel& panel : panels) {
        if (panel.updateButton == source) {
            row = &panel;
            break;
        }
    }
    if (row == nullptr) {
        return;
    }
    row->progressLabel->SetText(MessageString(kMessageDownloading));
    row->updateButton->Disable();
    std::string body;
    try {
        body = HttpGet(row->downloadUrl, row);
        row->progressLabel->SetText(MessageString(kMessageUpdating));
    } catch (const std::exception& error) {
        ShowUpdateMessage(error);
        row->progressLabel->SetText(MessageString(kMessageDownloadFailed));
        row->updateButton->Enable();
        return;
    }
    try {
        ReplaceObject(row->key, body, row->fileName);
    } catch (const std::exception& error) {
        // Success comes this way too: the row then reads as after any other end.
        ShowUpdateMessage(error);
        row->progressLabel->SetText(MessageString(kMessageUpdateFailed));
        row->updateButton->Enable();
    }
}

void SummaryDialog::ShowUpdateMessage(const std::exception& error) {
    constexpr uint32_t kWarningIcon = 8 | 1;
    CUtils::ShowMessageBox(nullptr, WString(AddOnName.ToUStr().Get(), AddOnName.GetLength()),
                           CUtils::StringUTF8ToWstring(error.what()), kWarningIcon);
}
