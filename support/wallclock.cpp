#include "clock.h"

QDateTime CurrentDateTime()
{
    return QDateTime::currentDateTime();
}
