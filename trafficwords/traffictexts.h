#pragma once

#include <QCoreApplication>

/// Its words pass the program's translator.
class TrafficTexts final {
    Q_DECLARE_TR_FUNCTIONS(traffic)
};
