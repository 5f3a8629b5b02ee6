// MessageCatalogueTest.cpp: the fixed table of Czech texts, row by row.
#include "catalogue/MessageCatalogue.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

TEST(MessageCatalogue, HoldsTwentyOneRowsExactlyAsWritten) {
    EXPECT_STREQ(MessageText(0), "Seznam aktualizovatelných objektů");
    EXPECT_STREQ(MessageText(1), "Zavřít");
    EXPECT_STREQ(MessageText(2), "Aktualizovat");
    EXPECT_STREQ(MessageText(3), "Neznámý");
    EXPECT_STREQ(MessageText(4), "Aktuální verze");
    EXPECT_STREQ(MessageText(5), "Nová verze k dispozici");
    EXPECT_STREQ(MessageText(6), "Testovací verze");
    EXPECT_STREQ(MessageText(7), "Nepodařilo se stáhnout aktualizaci. Zkuste to prosím později");
    EXPECT_STREQ(MessageText(8), "Probíhá aktualizace objektu");
    EXPECT_STREQ(MessageText(9), "Nepodařilo se aktualizovat objekt. Kontaktujte prosím podporu");
    EXPECT_STREQ(MessageText(11), "Nepodařilo se otevřít starý objekt");
    EXPECT_STREQ(MessageText(12), "Nepodařilo se zapsat aktualizaci");
    EXPECT_STREQ(MessageText(13), "Kontrola nových verzí objektů");
    EXPECT_STREQ(MessageText(16), "Neplatný objekt");
    EXPECT_STREQ(MessageText(17), "Probíhá stahování");
    EXPECT_STREQ(MessageText(18), "Nepodařilo se nahradit starý objekt");
    EXPECT_STREQ(MessageText(19), "Objekt aktualizován, ale bude nutné znovu otevřít projekt");
    EXPECT_STREQ(MessageText(20), "Neznámý objekt");
}

TEST(MessageCatalogue, Rows14And15EndInAColonAndOneBlank) {
    EXPECT_STREQ(MessageText(14), "Nepodařilo se získat odpověď ze serveru: ");
    EXPECT_STREQ(MessageText(15), "Neočekávaná odpověď ze serveru s kódem: ");
    EXPECT_EQ(std::string(MessageText(15)) + "404", "Neočekávaná odpověď ze serveru s kódem: 404");
}

TEST(MessageCatalogue, Row10StandsInTheTableThoughNothingShowsIt) {
    EXPECT_STREQ(MessageText(kMessageUpdated), "Aktualizováno");
}

TEST(MessageCatalogue, MessageStringIsTheRowReadAsUtf8) {
    EXPECT_TRUE(MessageString(kMessageClose) == GS::UniString(u"Zavřít"));
    EXPECT_TRUE(MessageString(kMessageUnknownObject) == GS::UniString(u"Neznámý objekt"));
    EXPECT_EQ(MessageString(kMessageNoResponse).GetLength(), 41u);
}

}  // namespace
