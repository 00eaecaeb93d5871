#include "metermodel.h"

#include "ce102.h"
#include "ce301.h"
#include "ce301line.h"
#include "set1.h"
#include "set3.h"
#include "set3line.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<MeterModel, 4> Models{{
    {
        .name = QLatin1StringView("CE102"),
        .decodeEnergy = TCounter_CE102::DecodeEnergy,
        .read = TCounter_CE102::Read,
        .answersStored = false,
        .hasTariffs = false,
    },
    {
        .name = QLatin1StringView("CE301"),
        .decodeEnergy = TCounter_CE301::DecodeEnergy,
        .read = TCounter_CE301::Read,
        .checksumIsRight = TCounter_CE301::ChecksumIsRight,
        .clockTellsDate = false,
        .timeQuery = TCounter_CE301::TimeQuery,
        .clockSetOneByOne = true,
        .substation = &CE301Line,
    },
    {
        .name = QLatin1StringView("SET1"),
        .decodeEnergy = TCounter_SET1::DecodeEnergy,
        .decodeClock = TCounter_SET1::DecodeClock,
        .read = TCounter_SET1::Read,
        .timeQuery = TCounter_SET1::TimeQuery,
    },
    {
        .name = QLatin1StringView("SET3"),
        .decodeEnergy = TCounter_SET3::DecodeEnergy,
        .decodeClock = TCounter_SET3::DecodeClock,
        .read = TCounter_SET3::Read,
        .timeQuery = TCounter_SET3::TimeQuery,
        .numberIsAddress = true,
        .substation = &SET3Line,
    },
}};

} // namespace

std::span<const MeterModel> MeterModels()
{
    return Models;
}

const MeterModel* FindMeterModel(QStringView name)
{
    const auto* const found =
        std::find_if(Models.begin(), Models.end(), [name](const MeterModel& model) { return model.name == name; });
    return found == Models.end() ? nullptr : found;
}
