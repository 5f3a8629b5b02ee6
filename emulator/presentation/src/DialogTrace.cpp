// DialogTrace.cpp: one JSON line per state of a modal dialog, for the emulator's trace.
#include "DialogTrace.h"

#include "Presentation.h"
#include "hostkit/DG.h"

#include <cstdio>

namespace presentation::dialogtrace {

namespace {

std::string HexColor(const Gfx::Color& color) {
    char text[8];
    std::snprintf(text, sizeof(text), "#%02X%02X%02X", color.GetRed(), color.GetGreen(),
                  color.GetBlue());
    return text;
}

Json::Value ItemValue(const DG::Item& item) {
    Json::Value value(Json::objectValue);
    value["kind"] = item.KindName();
    const DG::Rect rect = item.GetRect();
    Json::Value corners(Json::arrayValue);
    corners.append(rect.GetLeft());
    corners.append(rect.GetTop());
    corners.append(rect.GetRight());
    corners.append(rect.GetBottom());
    value["rect"] = corners;
    value["visible"] = item.IsVisible();
    value["enabled"] = item.IsEnabled();
    if (const auto* text = dynamic_cast<const DG::ItemTextProperty*>(&item)) {
        value["text"] = Utf8(text->GetText());
    }
    if (const auto* font = dynamic_cast<const DG::ItemFontProperty*>(&item)) {
        value["fontSize"] = font->GetFontSize();
        value["fontStyle"] = font->GetFontStyle();
    }
    if (const auto* button = dynamic_cast<const DG::Button*>(&item)) {
        value["cancel"] = button->IsCancel();
    }
    if (const auto* user = dynamic_cast<const DG::UserItem*>(&item);
        user && user->HasBackground()) {
        value["background"] = HexColor(user->GetBackground());
    }
    return value;
}

}  // namespace

std::string DialogLine(const DG::ModalDialog& dialog, const char* event) {
    Json::Value value(Json::objectValue);
    value["kind"] = "dialog";
    value["event"] = event;
    value["title"] = Utf8(dialog.GetTitle());
    value["width"] = dialog.GetWidth();
    value["height"] = dialog.GetHeight();
    value["icon"] = !dialog.GetIcon().IsEmpty();
    Json::Value items(Json::arrayValue);
    for (const DG::Item* item : dialog.GetItems()) {
        items.append(ItemValue(*item));
    }
    value["items"] = items;
    return JsonLine(value);
}

std::string CloseLine(const DG::ModalDialog& dialog, bool aborted) {
    Json::Value value(Json::objectValue);
    value["kind"] = "dialog";
    value["event"] = "close";
    value["title"] = Utf8(dialog.GetTitle());
    value["aborted"] = aborted;
    return JsonLine(value);
}

std::string ResizeLine(const DG::Dialog& dialog, int widthChange, int heightChange) {
    Json::Value value(Json::objectValue);
    value["kind"] = "dialog";
    value["event"] = "resize";
    value["title"] = Utf8(dialog.GetTitle());
    value["widthChange"] = widthChange;
    value["heightChange"] = heightChange;
    value["width"] = dialog.GetWidth();
    value["height"] = dialog.GetHeight();
    return JsonLine(value);
}

}  // namespace presentation::dialogtrace
