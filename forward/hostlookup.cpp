#include "hostlookup.h"

#include "clock.h"
#include "ending.h"
#include "forwardtexts.h"

#include <libpq-fe.h>
#include <memory>

#include <netdb.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LongestMs = 30000;

using Options = std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)>;

QByteArray Value(const Options& options, const char* keyword)
{
    for (const PQconninfoOption* option = options.get(); option && option->keyword; ++option)
        if (qstrcmp(option->keyword, keyword) == 0)
            return option->val;
    return {};
}

/// What a running lookup writes to: it outlives the question when that is given up.
struct Lookup {
    explicit Lookup(const QByteArray& name_) : name(name_) { request.ar_name = name.constData(); }
    QByteArray name;
    gaicb request = {};
};

QString LookUp(const QByteArray& name)
{
    auto lookup = std::make_unique<Lookup>(name);
    gaicb* list[1] = {&lookup->request};
    if (::getaddrinfo_a(GAI_NOWAIT, list, 1, nullptr) != 0)
        return ForwardTexts::tr("the name %1 cannot be looked up").arg(QString::fromUtf8(name));
    const qint64 began = MonotonicMs();
    int state = ::gai_error(list[0]);
    while (state == EAI_INPROGRESS) {
        Ending::LeaveIfRequested();
        const timespec slice{.tv_sec = 0, .tv_nsec = 250000000};
        ::gai_suspend(list, 1, &slice);
        state = ::gai_error(list[0]);
        if (state == EAI_INPROGRESS && MonotonicMs() - began > LongestMs) {
            if (::gai_cancel(list[0]) != EAI_CANCELED)
                static_cast<void>(lookup.release());
            return ForwardTexts::tr("no name server tells the address of %1").arg(QString::fromUtf8(name));
        }
    }
    if (lookup->request.ar_result)
        ::freeaddrinfo(lookup->request.ar_result);
    return state == 0 ? QString()
                      : u"%1: %2"_s.arg(QString::fromUtf8(name), QString::fromLocal8Bit(::gai_strerror(state)));
}

} // namespace

QString LookUpHosts(const QByteArray& connectionString)
{
    const Options options(PQconninfoParse(connectionString.constData(), nullptr), &PQconninfoFree);
    if (!options || !Value(options, "hostaddr").isEmpty())
        return {};
    QString problem;
    for (const QByteArray& name : Value(options, "host").split(',')) {
        if (name.isEmpty() || name.startsWith('/') || name.startsWith('@'))
            continue;
        problem = LookUp(name);
        if (problem.isEmpty())
            return {}; // of several hosts one is enough
    }
    return problem;
}
