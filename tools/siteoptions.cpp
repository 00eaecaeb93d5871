#include "siteoptions.h"

#include "settingsfile.h"
#include "texts.h"

using namespace Qt::StringLiterals;

void AddSiteOptions(CommandLine& line)
{
    line.AddOption(u"centre"_s, Texts::tr("connection"),
        Texts::tr("A centre of many controllers instead of the daemon's database, as libpq takes it: \"host=... "
                  "dbname=... user=...\"."),
        {});
    line.AddOption(
        u"controller"_s, Texts::tr("name"), Texts::tr("Which of them; for a role that may read all of them."), {});
}

std::optional<SiteChoice> ChosenSite(const CommandLine& line)
{
    SiteChoice choice;
    choice.centre = {line.Option(u"centre"_s), line.Option(u"controller"_s)};
    if (!choice.centre.conninfo.isEmpty() && line.Option(u"settings"_s).isEmpty()) {
        SettingsFile none;
        choice.vars = ReadSysVar(none);
        return choice;
    }
    const std::optional<SysVar> vars = line.Settings(Complain);
    if (!vars)
        return std::nullopt;
    choice.vars = *vars;
    return choice;
}
