// MessageCatalogue.cpp: the table of the add-on's Czech texts. Rows 14 and 15 end in a colon and
// a blank, so that the number put behind them stands right there.
#include "catalogue/MessageCatalogue.h"

#include "common/CUtils.h"

namespace {

const char* const kRows[kMessageRowCount] = {
    "Seznam aktualizovatelných objektů",
    "Zavřít",
    "Aktualizovat",
    "Neznámý",
    "Aktuální verze",
    "Nová verze k dispozici",
    "Testovací verze",
    "Nepodařilo se stáhnout aktualizaci. Zkuste to prosím později",
    "Probíhá aktualizace objektu",
    "Nepodařilo se aktualizovat objekt. Kontaktujte prosím podporu",
    "Aktualizováno",
    "Nepodařilo se otevřít starý objekt",
    "Nepodařilo se zapsat aktualizaci",
    "Kontrola nových verzí objektů",
    "Nepodařilo se získat odpověď ze serveru: ",
    "Neočekávaná odpověď ze serveru s kódem: ",
    "Neplatný objekt",
    "Probíhá stahování",
    "Nepodařilo se nahradit starý objekt",
    "Objekt aktualizován, ale bude nutné znovu otevřít projekt",
    "Neznámý objekt",
};

}  // namespace

const char* MessageText(int32_t index) { return kRows[index]; }

GS::UniString MessageString(int32_t index) {
    const WString text = CUtils::StringUTF8ToWstring(kRows[index]);
    return GS::UniString(text.c_str(), static_cast<USize>(text.size()));
}
