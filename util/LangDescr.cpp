#include "util/LangDescr.h"

#include <QLocale>

#include <optional>

namespace wn {

namespace {

const char *const kUnknownName = "<\?\?\?>";

// Windows primary language numbers and the languages Qt calls them.
std::optional<QLocale::Language> LanguageOf(std::int32_t primary)
{
    switch (primary) {
    case 0x01: return QLocale::Arabic;
    case 0x02: return QLocale::Bulgarian;
    case 0x03: return QLocale::Catalan;
    case 0x04: return QLocale::Chinese;
    case 0x05: return QLocale::Czech;
    case 0x06: return QLocale::Danish;
    case 0x07: return QLocale::German;
    case 0x08: return QLocale::Greek;
    case 0x09: return QLocale::English;
    case 0x0A: return QLocale::Spanish;
    case 0x0B: return QLocale::Finnish;
    case 0x0C: return QLocale::French;
    case 0x0D: return QLocale::Hebrew;
    case 0x0E: return QLocale::Hungarian;
    case 0x0F: return QLocale::Icelandic;
    case 0x10: return QLocale::Italian;
    case 0x11: return QLocale::Japanese;
    case 0x12: return QLocale::Korean;
    case 0x13: return QLocale::Dutch;
    case 0x14: return QLocale::NorwegianBokmal;
    case 0x15: return QLocale::Polish;
    case 0x16: return QLocale::Portuguese;
    case 0x18: return QLocale::Romanian;
    case 0x19: return QLocale::Russian;
    case 0x1A: return QLocale::Croatian;
    case 0x1B: return QLocale::Slovak;
    case 0x1D: return QLocale::Swedish;
    case 0x1E: return QLocale::Thai;
    case 0x1F: return QLocale::Turkish;
    default: return std::nullopt;
    }
}

// Territory of a Windows sub-language; AnyTerritory for the neutral sub-language 0, nothing when
// the sub-language is not known here.
std::optional<QLocale::Territory> TerritoryOf(std::int32_t primary, std::int32_t sub)
{
    if (sub == 0)
        return QLocale::AnyTerritory;
    struct Region {
        std::int32_t Primary, Sub;
        QLocale::Territory Territory;
    };
    static const Region regions[] = {
        {0x04, 2, QLocale::China},   {0x07, 1, QLocale::Germany},      {0x07, 2, QLocale::Switzerland},
        {0x07, 3, QLocale::Austria}, {0x09, 1, QLocale::UnitedStates}, {0x09, 2, QLocale::UnitedKingdom},
        {0x0C, 1, QLocale::France},  {0x0C, 2, QLocale::Belgium},      {0x0C, 4, QLocale::Switzerland},
        {0x10, 1, QLocale::Italy},   {0x10, 2, QLocale::Switzerland},  {0x13, 1, QLocale::Netherlands},
        {0x13, 2, QLocale::Belgium}, {0x16, 1, QLocale::Brazil},       {0x16, 2, QLocale::Portugal},
    };
    for (const Region &r : regions)
        if (r.Primary == primary && r.Sub == sub)
            return r.Territory;
    return std::nullopt;
}

QString LanguageName(std::int32_t primary, std::int32_t sub)
{
    const auto language = LanguageOf(primary);
    const auto territory = TerritoryOf(primary, sub);
    if (!language || !territory)
        return QString::fromLatin1(kUnknownName);
    // Qt falls back to another locale when it has no data for the pair.
    const QLocale locale(*language, *territory);
    if (locale.language() != *language ||
        (*territory != QLocale::AnyTerritory && locale.territory() != *territory))
        return QString::fromLatin1(kUnknownName);
    QString name = QLocale::languageToString(*language);
    if (*territory != QLocale::AnyTerritory)
        name += QStringLiteral(" (%1)").arg(QLocale::territoryToString(*territory));
    return name;
}

} // namespace

TLangDescr::TLangDescr(const QString &Code, std::int32_t PrimaryLang, std::int32_t SubLang)
    : Code(Code), Name(LanguageName(PrimaryLang, SubLang)), SubLang(SubLang), PrimaryLang(PrimaryLang),
      LCID((SubLang << 10) | PrimaryLang)
{}

TLangDescrList::TLangDescrList()
{
    struct Entry {
        const char *Code;
        std::int32_t Primary, Sub;
    };
    static const Entry entries[] = {
        {"cs", 5, 0},  {"ch", 4, 2},     {"chs", 4, 2},    {"de", 7, 0},     {"de_AT", 7, 3}, {"de_CH", 7, 2},
        {"dk", 6, 0},  {"nl_BE", 19, 2}, {"el", 8, 0},     {"en", 9, 0},     {"en_UK", 9, 2}, {"es", 10, 0},
        {"fi", 11, 0}, {"fr", 12, 0},    {"fr_BE", 12, 2}, {"fr_CH", 12, 4}, {"hu", 14, 0},   {"il", 13, 0},
        {"it", 16, 0}, {"it_CH", 16, 2}, {"jp", 17, 0},    {"no", 20, 0},    {"pl", 21, 0},   {"ptg", 22, 2},
        {"sv", 29, 0}, {"ro", 24, 0},    {"ru", 25, 0},    {"tr", 31, 0},
    };
    for (const Entry &e : entries)
        FItems.push_back(std::make_unique<TLangDescr>(QString::fromLatin1(e.Code), e.Primary, e.Sub));
}

} // namespace wn
