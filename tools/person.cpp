#include "person.h"

#include <QList>

#include <algorithm>
#include <grp.h>
#include <pwd.h>

#include <unistd.h>

QString UserName(unsigned int id)
{
    const passwd* const user = ::getpwuid(id);
    return user ? QString::fromLocal8Bit(user->pw_name) : QString::number(id);
}

QString GroupName(unsigned int id)
{
    const group* const found = ::getgrgid(id);
    return found ? QString::fromLocal8Bit(found->gr_name) : QString::number(id);
}

Person Person::Looking()
{
    Person person{.user = UserName(::geteuid()), .groups = {GroupName(::getegid())}, .isRoot = ::geteuid() == 0};
    QList<gid_t> ids(std::max(0, ::getgroups(0, nullptr)));
    ids.resize(std::max(0, ::getgroups(static_cast<int>(ids.size()), ids.data())));
    for (const gid_t id : ids)
        person.groups.append(GroupName(id));
    person.groups.removeDuplicates();
    return person;
}
