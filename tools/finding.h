#pragma once

#include <QList>
#include <QString>

/// Something about an installation that a technician should know.
struct Finding {
    enum class Weight {
        Problem, ///< the daemon would not do its work, or shows a password
        Hint, ///< it works, but not as everybody would want it
    };

    /// A settings key ("Main/PortKS"), or one of "settings", "bus", "database", "register", "schedule", "ntpq": the
    /// same in every language.
    QString about;
    QString text; ///< one sentence
    Weight weight = Weight::Problem;
};

using Findings = QList<Finding>;
