#include "Platform/LanguageChoice.h"

#include <gtest/gtest.h>

using namespace KVBase;

TEST(LanguageChoiceTest, ChoosesTheFirstLanguageThatIsThere)
{
    const struct {
        const char *what;
        QStringList available;
        QStringList preferred;
        QString region;
        QStringList chosen;
    } rows[] = {
        {"the first one", {"de", "en", "fr"}, {"fr", "de"}, "en", {"fr", "en"}},
        {"one that is there", {"de", "en"}, {"xx", "de", "fr"}, "en", {"de", "en"}},
        {"the exact region before the general form",
         {"de", "de-AT", "en"},
         {"de-AT"},
         "",
         {"de-AT", "de", "en"}},
        {"the general form without the region", {"de", "en"}, {"de-CH"}, "", {"de", "en"}},
        {"underscores and case", {"pt_BR", "en"}, {"PT-br"}, "", {"pt_BR", "en"}},
        {"another region rather than another language", {"pt-BR", "en"}, {"pt"}, "", {"pt-BR", "en"}},
        {"scripts", {"zh-Hans", "zh-Hant"}, {"zh-Hant-TW"}, "", {"zh-Hant"}},
        {"an English name of a folder", {"German", "English"}, {"de"}, "", {"German", "English"}},
        {"an English name as the wish", {"de", "en"}, {"German"}, "", {"de", "en"}},
        {"the development region", {"de", "fr"}, {"ja"}, "fr", {"fr"}},
        {"English at last", {"en", "fr"}, {"ja"}, "", {"en"}},
        {"nothing", {"fr"}, {"ja"}, "", {}},
        {"nothing there", {}, {"de"}, "en", {}},
        {"no wishes", {"de", "en"}, {}, "de", {"de", "en"}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(chosenLocalizations(row.available, row.preferred, row.region), row.chosen) << row.what;
}
