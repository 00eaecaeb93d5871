// What the modem sends, in words: bounded, harmless for a terminal, and the same however the bytes are cut.

#include "answerwords.h"
#include "fuzztarget.h"
#include "trafficwords.h"

#include <algorithm>

namespace {

/// The address tells the model, so that every decoder is reached.
const MeterModel* ModelOf(const QByteArray& uin)
{
    const auto models = MeterModels();
    const auto choice = static_cast<size_t>(static_cast<quint8>(uin.back())) % (models.size() + 1);
    return choice == models.size() ? nullptr : &models[choice];
}

QList<TrafficLine> Lines(const QByteArray& bytes, qsizetype pieceSize)
{
    TrafficWords words(ModelOf);
    QList<TrafficLine> lines;
    for (qsizetype at = 0; at < bytes.size(); at += pieceSize)
        lines += words.Take(QByteArrayView(bytes).sliced(at, std::min(pieceSize, bytes.size() - at)));
    return lines;
}

void RequireHarmless(const QString& words)
{
    constexpr qsizetype MostWords = 4000;
    Require(!words.isEmpty() && words.size() <= MostWords);
    for (const char32_t character : words.toUcs4())
        Require(QChar::isPrint(character) || QChar::category(character) == QChar::Other_PrivateUse
            || QChar::category(character) == QChar::Other_NotAssigned);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const QByteArray bytes = InPlace(data, size);
    const QList<TrafficLine> whole = Lines(bytes, std::max<qsizetype>(1, bytes.size()));
    const QList<TrafficLine> bytewise = Lines(bytes, 1);
    Require(std::equal(whole.begin(), whole.end(), bytewise.begin(), bytewise.end(),
        [](const TrafficLine& a, const TrafficLine& b) { return a.bytes == b.bytes && a.words == b.words; }));
    for (const TrafficLine& line : whole) {
        RequireHarmless(line.words);
        Require(line.bytes.size() <= LineCutter::MostHeld && bytes.contains(line.bytes));
        Require(std::all_of(line.uin.begin(), line.uin.end(), [](char c) { return c > ' ' && c <= '~'; }));
    }
    RequireHarmless(WordsOfSubstation(bytes, ModelOf(bytes + '\1'), QString::fromLatin1("70000")).words);
    return 0;
}
