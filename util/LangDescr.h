#pragma once
// The user-interface languages the suite knows: for each the code that names its language files
// and settings, the Windows language identifier and a display name from Qt's locale data.

#include "framework/Classes.h"
#include "wn_export.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace wn {

class WN_EXPORT TLangDescr : public TObject
{
public:
    // Name is the English name of the language, with the territory for a regional sub-language
    // ("German (Austria)"), or "<???>" when Qt's locale data has no such language.
    TLangDescr(const QString &Code, std::int32_t PrimaryLang, std::int32_t SubLang);

    QString Code;
    QString Name;
    std::int32_t SubLang;
    std::int32_t PrimaryLang;
    // SubLang shl 10 or PrimaryLang, sort-order bits 0.
    std::int32_t LCID;
};

// The fixed table of the suite's languages, in its order. Callers search it themselves.
class WN_EXPORT TLangDescrList : public TObject
{
public:
    TLangDescrList();

    std::int32_t Count() const { return std::int32_t(FItems.size()); }
    TLangDescr &Items(std::int32_t Index) const { return *FItems.at(std::size_t(Index)); }

private:
    std::vector<std::unique_ptr<TLangDescr>> FItems;
};

} // namespace wn
