#if QBASE_HAS_GLIB

#    include "Peers/GObjectModel.h"

#    include <cstddef>

namespace Bench
{
namespace
{

// The four properties of one level of the classes.
struct Fields
{
    int mFirst;
    int mSecond;
    float mFactor;
    char* mpText;
};

struct GVehicle
{
    GObject mParent;
    Fields mFields;
};

struct GCar
{
    GVehicle mParent;
    Fields mFields;
};

struct GTaxi
{
    GCar mParent;
    Fields mFields;
};

struct GTaxiClass
{
    GObjectClass mParent;
    int (*mpDrive)(GTaxi*, int, float);
};

template <typename Instance>
Fields& FieldsOf(gpointer pObject)
{
    return static_cast<Instance*>(pObject)->mFields;
}

template <typename Instance>
void GetProperty(GObject* pObject, guint id, GValue* pValue, GParamSpec*)
{
    const Fields& fields = FieldsOf<Instance>(pObject);
    switch (id) {
    case 1:
        return g_value_set_int(pValue, fields.mFirst);
    case 2:
        return g_value_set_int(pValue, fields.mSecond);
    case 3:
        return g_value_set_float(pValue, fields.mFactor);
    default:
        return g_value_set_string(pValue, fields.mpText);
    }
}

template <typename Instance>
void SetProperty(GObject* pObject, guint id, const GValue* pValue, GParamSpec*)
{
    Fields& rFields = FieldsOf<Instance>(pObject);
    switch (id) {
    case 1:
        rFields.mFirst = g_value_get_int(pValue);
        break;
    case 2:
        rFields.mSecond = g_value_get_int(pValue);
        break;
    case 3:
        rFields.mFactor = g_value_get_float(pValue);
        break;
    default:
        g_free(rFields.mpText);
        rFields.mpText = g_value_dup_string(pValue);
        break;
    }
}

template <typename Instance>
void InitInstance(GTypeInstance* pInstance, gpointer)
{
    FieldsOf<Instance>(pInstance) = {4, 5, 1.5f, nullptr};
}

template <typename Instance>
GObjectClass* g_pParentClass = nullptr;

template <typename Instance>
void Finalize(GObject* pObject)
{
    g_free(FieldsOf<Instance>(pObject).mpText);
    g_pParentClass<Instance>->finalize(pObject);
}

constexpr GParamFlags FLAGS =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | G_PARAM_EXPLICIT_NOTIFY);

// What a class says of itself: the names of its four properties.
template <typename Instance>
void InitClass(gpointer pClass, gpointer pNames)
{
    const char* const* const names = static_cast<const char* const*>(pNames);
    GObjectClass* const pObjectClass = G_OBJECT_CLASS(pClass);
    g_pParentClass<Instance> = G_OBJECT_CLASS(g_type_class_peek_parent(pClass));
    pObjectClass->get_property = GetProperty<Instance>;
    pObjectClass->set_property = SetProperty<Instance>;
    pObjectClass->finalize = Finalize<Instance>;
    for (guint i = 0; i < 2; ++i) {
        g_object_class_install_property(
            pObjectClass, i + 1, g_param_spec_int(names[i], names[i], "", G_MININT, G_MAXINT, 0, FLAGS));
    }
    g_object_class_install_property(pObjectClass, 3,
                                    g_param_spec_float(names[2], names[2], "", -1e30f, 1e30f, 0.0f, FLAGS));
    g_object_class_install_property(pObjectClass, 4,
                                    g_param_spec_string(names[3], names[3], "", nullptr, FLAGS));
}

int Drive(GTaxi* pTaxi, int distance, float speed)
{
    return pTaxi->mFields.mFirst += distance + static_cast<int>(speed);
}

void InitTaxiClass(gpointer pClass, gpointer pNames)
{
    InitClass<GTaxi>(pClass, pNames);
    static_cast<GTaxiClass*>(pClass)->mpDrive = Drive;
    g_signal_new(
        "drive", G_TYPE_FROM_CLASS(pClass), static_cast<GSignalFlags>(G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION),
        offsetof(GTaxiClass, mpDrive), nullptr, nullptr, nullptr, G_TYPE_INT, 2, G_TYPE_INT, G_TYPE_FLOAT);
}

template <typename Instance>
GType Register(GType parent, const char* pName, guint classSize, GClassInitFunc pInit,
               const char* const* pNames)
{
    const GTypeInfo info = {
        static_cast<guint16>(classSize), nullptr, nullptr, pInit, nullptr, pNames, sizeof(Instance), 0,
        InitInstance<Instance>,          nullptr};
    return g_type_register_static(parent, pName, &info, static_cast<GTypeFlags>(0));
}

const char* const g_VehicleNames[] = {"wheels", "seats", "weight", "name"};
const char* const g_CarNames[] = {"doors", "gears", "power", "maker"};
const char* const g_TaxiNames[] = {"fare", "licence", "rate", "driver"};

} // namespace

GType GetGTaxiType()
{
    static const GType sVehicle = Register<GVehicle>(G_TYPE_OBJECT, "BenchVehicle", sizeof(GObjectClass),
                                                     InitClass<GVehicle>, g_VehicleNames);
    static const GType sCar =
        Register<GCar>(sVehicle, "BenchCar", sizeof(GObjectClass), InitClass<GCar>, g_CarNames);
    static const GType sTaxi =
        Register<GTaxi>(sCar, "BenchTaxi", sizeof(GTaxiClass), InitTaxiClass, g_TaxiNames);
    return sTaxi;
}

} // namespace Bench

#endif
