#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

/// Cuts the modem's output, taken as its bytes come, into lines. How the bytes are cut into chunks makes no difference.
class LineCutter final {
public:
    /// The lines that are complete, without line ends and without empty ones. A message whose length is announced may
    /// hold line ends; when bytes of it were lost, it ends at the first line end. The rest is held.
    [[nodiscard]] QByteArrayList Take(QByteArrayView chunk);

    static constexpr qsizetype MostHeld = 4096; ///< so many bytes without an end are a line

private:
    QByteArray held;
};
