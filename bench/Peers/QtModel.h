// The classes of Model.h as Qt knows them.

#pragma once

#include "PlainModel.h"

#include <QDataStream>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

namespace Bench
{

inline QDataStream& operator<<(QDataStream& stream, const PlainVector3& vector)
{
    return stream << vector.mX << vector.mY << vector.mZ;
}

inline QDataStream& operator>>(QDataStream& stream, PlainVector3& rVector)
{
    return stream >> rVector.mX >> rVector.mY >> rVector.mZ;
}

inline QDataStream& operator<<(QDataStream& stream, const PlainColor& color)
{
    return stream << color.mRed << color.mGreen << color.mBlue << color.mAlpha;
}

inline QDataStream& operator>>(QDataStream& stream, PlainColor& rColor)
{
    return stream >> rColor.mRed >> rColor.mGreen >> rColor.mBlue >> rColor.mAlpha;
}

// --- Twelve properties over three levels of classes, and a function ---

class QtVehicle : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Wheels MEMBER mWheels)
    Q_PROPERTY(int Seats MEMBER mSeats)
    Q_PROPERTY(float Weight MEMBER mWeight)
    Q_PROPERTY(QString Name MEMBER mName)

public:
    int mWheels = 4;
    int mSeats = 5;
    float mWeight = 1.5f;
    QString mName;
};

class QtCar : public QtVehicle
{
    Q_OBJECT
    Q_PROPERTY(int Doors MEMBER mDoors)
    Q_PROPERTY(int Gears MEMBER mGears)
    Q_PROPERTY(float Power MEMBER mPower)
    Q_PROPERTY(QString Maker MEMBER mMaker)

public:
    int mDoors = 3;
    int mGears = 6;
    float mPower = 90.0f;
    QString mMaker;
};

class QtTaxi : public QtCar
{
    Q_OBJECT
    Q_PROPERTY(int Fare MEMBER mFare)
    Q_PROPERTY(int Licence MEMBER mLicence)
    Q_PROPERTY(float Rate MEMBER mRate)
    Q_PROPERTY(QString Driver MEMBER mDriver)

public:
    Q_INVOKABLE QtTaxi() = default;
    Q_INVOKABLE int Drive(int distance, float speed) { return mFare += distance + static_cast<int>(speed); }

    int mFare = 0;
    int mLicence = 17;
    float mRate = 2.5f;
    QString mDriver;
};

// --- Trees that are saved and loaded ---

using QtPlainNode = BasicNode<RawPointer, QString>;

class QtShared : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE QtShared() = default;

    int mIndex = 0;
};

class QtNode : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Id MEMBER mId)
    Q_PROPERTY(float Mass MEMBER mMass)
    Q_PROPERTY(bool Visible MEMBER mbVisible)
    Q_PROPERTY(QString Label MEMBER mLabel)
    Q_PROPERTY(Bench::PlainVector3 Place MEMBER mPlace)
    Q_PROPERTY(Bench::PlainColor Tint MEMBER mTint)
    Q_PROPERTY(QObject* Shared MEMBER mpShared)
    Q_PROPERTY(QList<QObject*> Children MEMBER mChildren)

public:
    using Shared = QtShared;

    Q_INVOKABLE QtNode() = default;

    int mId = 0;
    float mMass = 0.0f;
    bool mbVisible = false;
    QString mLabel;
    PlainVector3 mPlace;
    PlainColor mTint;
    QObject* mpShared = nullptr;
    QList<QObject*> mChildren;
};

// --- What is watched for changes ---

class QtBody : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int Number MEMBER mNumber NOTIFY NumberChanged)
    Q_PROPERTY(int Layer MEMBER mLayer)
    Q_PROPERTY(float Mass MEMBER mMass)
    Q_PROPERTY(bool Visible MEMBER mbVisible)
    Q_PROPERTY(QString Name MEMBER mName)
    Q_PROPERTY(Bench::PlainVector3 Position MEMBER mPosition)
    Q_PROPERTY(Bench::PlainVector3 Velocity MEMBER mVelocity)
    Q_PROPERTY(Bench::PlainColor Color MEMBER mColor)

public:
    int mNumber = 0;
    int mLayer = 0;
    float mMass = 1.0f;
    bool mbVisible = true;
    QString mName;
    PlainVector3 mPosition;
    PlainVector3 mVelocity;
    PlainColor mColor;

Q_SIGNALS:
    void NumberChanged(int number);
};

} // namespace Bench

Q_DECLARE_METATYPE(Bench::PlainVector3)
Q_DECLARE_METATYPE(Bench::PlainColor)
