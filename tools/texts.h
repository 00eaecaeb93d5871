#pragma once

#include <QCoreApplication>

/// What the tool says to people passes its translator: Texts::tr().
class Texts final {
    Q_DECLARE_TR_FUNCTIONS(ravelinctl)
};
