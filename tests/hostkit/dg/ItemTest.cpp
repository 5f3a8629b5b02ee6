// ItemTest.cpp: dialog items on a panel: their list, their properties told to the view, and the
// clicks of buttons with their observers.
#include "DgTestSupport.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

using Aspect = DG::Item::Aspect;
using dgtest::ClickObserver;
using dgtest::RecordingView;
using dgtest::TestPanel;

TEST(DgItem, ItemsRegisterWithTheirPanelInCreationOrderAndLeaveItWhenDestroyed) {
    TestPanel panel;
    auto text = std::make_unique<DG::LeftText>(panel, DG::Rect(1, 2, 3, 4));
    DG::Button button(panel, DG::Rect());
    auto user = std::make_unique<DG::UserItem>(panel, DG::Rect());
    EXPECT_EQ(panel.GetItems(),
              (std::vector<DG::Item*>{text.get(), &button, static_cast<DG::Item*>(user.get())}));
    EXPECT_EQ(text->GetPanel(), &panel);
    EXPECT_EQ(text->GetRect(), DG::Rect(1, 2, 3, 4));
    text.reset();
    EXPECT_EQ(panel.GetItems(), (std::vector<DG::Item*>{&button, user.get()}));
    user.reset();
    EXPECT_EQ(panel.GetItems(), (std::vector<DG::Item*>{&button}));
}

TEST(DgItem, AnItemOutlivingItsPanelForgetsIt) {
    auto panel = std::make_unique<TestPanel>();
    DG::LeftText text(*panel, DG::Rect());
    panel.reset();
    EXPECT_EQ(text.GetPanel(), nullptr);
    text.SetText("still fine");  // reaches no panel and no view
    EXPECT_EQ(text.GetText(), "still fine");
}

TEST(DgItem, ItemsStartHiddenAndEnabledWithTheirKinds) {
    TestPanel panel;
    DG::LeftText text(panel, DG::Rect());
    DG::Button button(panel, DG::Rect());
    DG::UserItem user(panel, DG::Rect());
    EXPECT_FALSE(text.IsVisible());
    EXPECT_TRUE(text.IsEnabled());
    EXPECT_STREQ(text.KindName(), "LeftText");
    EXPECT_STREQ(button.KindName(), "Button");
    EXPECT_STREQ(user.KindName(), "UserItem");
    EXPECT_EQ(text.GetTextColor(), Gfx::Color::Black);
    EXPECT_EQ(Gfx::Color::Black, Gfx::Color(0, 0, 0, 0xFF));
}

TEST(DgItem, EveryPropertyIsKeptAndToldToTheView) {
    TestPanel panel;
    RecordingView view;
    panel.SetView(&view);
    DG::LeftText text(panel, DG::Rect());
    DG::UserItem user(panel, DG::Rect());
    text.SetText("Nová verze");
    text.SetFontSize(-1);
    text.SetFontStyle(DG::ItemFontProperty::kFontStyleBold);
    text.SetTextColor(Gfx::Color(1, 2, 3));
    text.SetRect(DG::Rect(0, 0, 10, 20));
    text.SetVisibility(true);
    text.Disable();
    user.SetBackground(Gfx::Color(0xF7, 0xF7, 0xF7));
    EXPECT_EQ(view.changes, (std::vector<std::pair<DG::Item*, Aspect>>{
                                {&text, Aspect::Text},
                                {&text, Aspect::Font},
                                {&text, Aspect::Font},
                                {&text, Aspect::Color},
                                {&text, Aspect::Rect},
                                {&text, Aspect::Visibility},
                                {&text, Aspect::Enabled},
                                {&user, Aspect::Background},
                            }));
    EXPECT_EQ(text.GetText(), "Nová verze");
    EXPECT_EQ(text.GetFontSize(), -1);
    EXPECT_EQ(text.GetFontStyle(), 16);
    EXPECT_EQ(text.GetTextColor(), Gfx::Color(1, 2, 3));
    EXPECT_TRUE(user.HasBackground());
    EXPECT_EQ(user.GetBackground(), Gfx::Color(0xF7, 0xF7, 0xF7));
}

TEST(DgItem, ShowItemsMakesEveryItemVisible) {
    TestPanel panel;
    DG::LeftText text(panel, DG::Rect());
    DG::Button button(panel, DG::Rect());
    DG::UserItem user(panel, DG::Rect());
    button.SetVisibility(true);
    panel.ShowItems();
    EXPECT_TRUE(text.IsVisible());
    EXPECT_TRUE(button.IsVisible());
    EXPECT_TRUE(user.IsVisible());
}

TEST(DgItem, AnItemStandsInNoRowUntilItsDialogSaysAndARowIsNotAChange) {
    TestPanel panel;
    RecordingView view;
    panel.SetView(&view);
    DG::LeftText text(panel, DG::Rect());
    DG::Button button(panel, DG::Rect());
    EXPECT_EQ(text.GetRow(), 0);
    EXPECT_EQ(button.GetRow(), 0);
    button.SetRow(3);
    text.SetRow(3);
    EXPECT_EQ(button.GetRow(), 3);
    EXPECT_EQ(text.GetRow(), 3);
    EXPECT_TRUE(view.changes.empty());
    panel.SetView(nullptr);
}

TEST(DgItem, ADialogHasOneCancelButton) {
    TestPanel panel;
    DG::Button first(panel, DG::Rect());
    DG::Button second(panel, DG::Rect());
    EXPECT_FALSE(first.IsCancel());
    first.SetAsCancel();
    EXPECT_TRUE(first.IsCancel());
    second.SetAsCancel();
    EXPECT_FALSE(first.IsCancel());
    EXPECT_TRUE(second.IsCancel());
}

TEST(DgButton, AClickReachesEveryObserverInOrderWithTheButtonAsSource) {
    TestPanel panel;
    DG::Button button(panel, DG::Rect());
    button.SetVisibility(true);
    std::vector<int> order;
    ClickObserver first([&](DG::ButtonItem*) { order.push_back(1); });
    ClickObserver second([&](DG::ButtonItem*) { order.push_back(2); });
    button.Attach(first);
    button.Attach(second);
    button.Attach(first);  // once is enough
    EXPECT_TRUE(button.Click());
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(first.sources, (std::vector<DG::ButtonItem*>{&button}));
    button.Detach(first);
    EXPECT_TRUE(button.Click());
    EXPECT_EQ(order, (std::vector<int>{1, 2, 2}));
}

TEST(DgButton, OnlyAVisibleEnabledButtonCanBeClicked) {
    TestPanel panel;
    DG::Button button(panel, DG::Rect());
    ClickObserver observer;
    button.Attach(observer);
    EXPECT_FALSE(button.Click());  // hidden, as made
    button.SetVisibility(true);
    button.Disable();
    EXPECT_FALSE(button.Click());
    EXPECT_TRUE(observer.sources.empty());
    button.Enable();
    EXPECT_TRUE(button.Click());
    EXPECT_EQ(observer.sources.size(), 1u);
}

TEST(DgButton, AHandlerMayDetachItselfAndTheOthersStillHearTheClick) {
    TestPanel panel;
    DG::Button button(panel, DG::Rect());
    button.SetVisibility(true);
    ClickObserver second;
    ClickObserver first;
    first.onClick = [&](DG::ButtonItem* source) { source->Detach(first); };
    button.Attach(first);
    button.Attach(second);
    EXPECT_TRUE(button.Click());
    EXPECT_TRUE(button.Click());
    EXPECT_EQ(first.sources.size(), 1u);
    EXPECT_EQ(second.sources.size(), 2u);
}

}  // namespace
