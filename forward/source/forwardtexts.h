#pragma once

#include <QCoreApplication>

/// What the forwarder says to people passes its translator: ForwardTexts::tr().
class ForwardTexts final {
    Q_DECLARE_TR_FUNCTIONS(forward)
};
