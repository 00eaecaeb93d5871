#pragma once

#include <QCoreApplication>

/// What is said of a register to people passes its translator: RegisterTexts::tr().
class RegisterTexts final {
    Q_DECLARE_TR_FUNCTIONS(register)
};
