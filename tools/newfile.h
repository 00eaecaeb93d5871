#pragma once

#include <QString>

/// A file that comes to its name whole, or not at all: it is written beside it, under another name, and then renamed.
/// Only its owner may write it and its group read it. What is not finished is removed.
class NewFile final {
public:
    enum class Existing { Stays, IsReplaced };

    NewFile(const QString& name, Existing existing);
    ~NewFile();
    Q_DISABLE_COPY_MOVE(NewFile)

    /// Makes the empty file to be written, Path(). False when it cannot be made, or when there is a file of that name
    /// that is to stay.
    [[nodiscard]] bool Begin();
    [[nodiscard]] QString Path() const { return path; }

    /// Gives the file its name; it is on the disk then.
    [[nodiscard]] bool Finish();

    /// A sentence about the last failure.
    [[nodiscard]] QString Error() const { return error; }

private:
    [[nodiscard]] bool Fail(const QString& why);
    [[nodiscard]] bool Rename() const;

    const QString name;
    const QString path;
    const Existing existing;
    bool isMade = false;
    QString error;
};
