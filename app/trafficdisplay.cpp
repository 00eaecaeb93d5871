#include "ravelin.h"

#include <QDebug>

#include <algorithm>

using namespace Qt::StringLiterals;

// The two ways of writing differ in control characters: what needs no other alphabet stays as it always was.
static bool IsAscii(const QByteArray& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
}

void Ravelin::Forward(const QString& message, const QByteArray& data)
{
    if (InData)
        SetAction("InData"_ba, message.toUtf8(), data, -1);
}

void Ravelin::ShowLog(QByteArray text)
{
    if (InData)
        SetAction("InData"_ba, text, ""_ba, -1);
    if (IsAscii(text) || !text.isValidUtf8())
        qDebug() << text;
    else
        qDebug() << QString::fromUtf8(text);
}

void Ravelin::ShowLog(QString text)
{
    Forward(text);
    qDebug() << text;
}

void Ravelin::ReceivedData(QByteArray raw)
{
    if (raw.isEmpty())
        return;
    qDebug() << raw;
    qDebug() << "";
    Forward(tr("COM-port data"), raw);
}

void Ravelin::ShowCounterPortData(QByteArray raw)
{
    qDebug() << raw;
    qDebug() << "";
    Forward(tr("COM-port data") + u' ' + tr("counter port"), raw);
}

void Ravelin::NewDevice(QByteArray uin)
{
    Forward(tr("New node: %1").arg(QString::fromLatin1(uin)));
    qDebug() << "NEW: " + uin + '\n';
}

void Ravelin::ReceivedBCAST(QByteArray uin, QByteArray data)
{
    Forward(tr("Received BCAST from %1").arg(QString::fromLatin1(uin)), data);
    qDebug() << "BCAST:\n" + uin + '\n' + data;
}

void Ravelin::ReceivedUCAST(QByteArray uin, QByteArray data)
{
    Forward(tr("Received UCAST from %1").arg(QString::fromLatin1(uin)), data);
    qDebug() << "UCAST:\n" + uin + '\n' + data;
}

void Ravelin::on_pbReceive_clicked()
{
    for (const ZUCASTBuffer* item = UnicastBuffer; item; item = item->Next)
        qDebug() << item->Data;
}

void Ravelin::on_pbPrintNet_clicked()
{
    qDebug().noquote() << tr("Printing devices on network...");
    for (const ZDevice* node = Modem ? Modem->Nodes() : nullptr; node; node = node->Next)
        qDebug().noquote() << "UIN: "_L1 + QString::fromLatin1(node->UIN) + "   Type: "_L1 + node->Type + u'\n';
    qDebug() << "End.";
}
