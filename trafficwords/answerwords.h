#pragma once

#include "metermodel.h"

#include <QString>

/// What a meter's answer tells, for people.
struct AnswerWords {
    QString kind; ///< the same in every language: "energy", "clock", "alarm", "empty", "frame", "damaged"
    QString words; ///< without a full stop; no control or format characters
};

/// `frame` is the payload of a node frame, without escapes. Null `model`: the meter behind the node is not known, and
/// its answer is told byte by byte.
[[nodiscard]] AnswerWords WordsOfNodeFrame(const QByteArray& frame, const MeterModel* model);

/// `answer` is all that the meter on the line of its own has sent; its multiplier does not count. Null `model`: not
/// known.
[[nodiscard]] AnswerWords WordsOfSubstation(const QByteArray& answer, const MeterModel* model, const QString& number);

/// The first bytes in hexadecimal, and how many there are.
[[nodiscard]] QString WordsOfBytes(const QByteArray& bytes);
