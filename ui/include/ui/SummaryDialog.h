// SummaryDialog.h: the add-on's one dialog: a row per monitored library part with its name, its
// state and, where a newer file can be had, an update button.
//
// It reads the monitor's table once, in its constructor, and writes nothing back. All geometry
// comes from a layout tree built there: 500 by 250 client pixels, four rows of 50, growing by 50
// for each row beyond four. Every item of a row says which row it stands in (DG::Item::GetRow,
// from 1, in the table's order), whether the row has an update button or not.
#pragma once

#include "addon/ObjectsMonitor.h"
#include "hostkit/DG.h"
#include "hostkit/GSArray.h"
#include "net/HttpGet.h"
#include "ui/Layout.h"

#include <exception>

class SummaryDialog : public DG::ModalDialog,
                      public DG::PanelObserver,
                      public DG::ButtonItemObserver {
public:
    // One row's items and its download's listener. Copies share the items, which the layout
    // tree owns.
    struct ItemPanel : GetProgressListener {
        int32_t key = 0;
        GS::UniString downloadUrl;
        DG::LeftText* progressLabel = nullptr;
        DG::LeftText* stateLabel = nullptr;
        DG::Button* updateButton = nullptr;
        GS::UniString fileName;

        // Nothing is shown: the row keeps its "downloading" text for the whole download.
        void OnProgress(uint32_t downloaded, int32_t total, int32_t percent) override;
        void OnFileName(const GS::UniString& name) override;
    };

    explicit SummaryDialog(ObjectsMonitor& monitor);
    ~SummaryDialog() override;

    void PanelOpened(const DG::PanelOpenEvent& event) override;
    void PanelResized(const DG::PanelResizeEvent& event) override;
    void ButtonClicked(const DG::ButtonClickEvent& event) override;

    const GS::Array<ItemPanel>& GetPanels() const { return panels; }

private:
    void AddRow(Layout& rows, int32_t key, const VersionCheckState& record);
    DG::LeftText* MakeText(const GS::UniString& text, int32_t fontSize);
    // The outcome of an update, in a warning box titled with the add-on's name.
    static void ShowUpdateMessage(const std::exception& error);

    Layout* layout = nullptr;
    DG::Button* closeButton = nullptr;
    GS::Array<ItemPanel> panels;
};
