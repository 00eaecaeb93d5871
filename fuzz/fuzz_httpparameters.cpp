#include "apiparameters.h"
#include "fuzztarget.h"
#include "httprequest.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView Known[] = {"controller"_L1, "meter"_L1, "from"_L1, "to"_L1, "kinds"_L1};
constexpr QLatin1StringView Kinds[] = {"log"_L1, "traffic"_L1};

bool IsShown(const QString& text)
{
    for (const QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            return false;
    return !text.isEmpty();
}

/// An error has a text that any terminal may show.
template <typename Answer>
std::optional<Answer> ValueOf(std::variant<Answer, ApiError> answer)
{
    const auto* const error = std::get_if<ApiError>(&answer);
    Require(!error || ((error->status == 400 || error->status == 404) && IsShown(error->text)));
    return error ? std::nullopt : std::optional(std::get<Answer>(std::move(answer)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const std::optional<HttpTarget> target = ParseTarget(InPlace(bytes, size));
    if (!target)
        return 0;
    Require(target->path.startsWith(u'/') && !target->path.contains(QChar(0)));
    const std::optional<ApiParameters> parameters = ValueOf(ApiParameters::Take(target->query, Known));
    if (!parameters)
        return 0;
    static_cast<void>(ValueOf(parameters->Controller({u"a"_s, u"b"_s})));
    static_cast<void>(ValueOf(parameters->Meter()));
    if (const auto range = ValueOf(parameters->Times(QDateTime({2014, 3, 4}, {8, 30}))))
        Require(range->from.isValid() && range->from <= range->to && range->from.daysTo(range->to) <= 366);
    if (const auto days = ValueOf(parameters->Days({2014, 3, 4})))
        Require(days->from.isValid() && days->from <= days->to && days->from.daysTo(days->to) < 366);
    if (const auto kinds = ValueOf(parameters->Kinds(Kinds)))
        Require(kinds->size() <= 2);
    return 0;
}
