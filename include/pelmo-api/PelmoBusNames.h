// Where the store answers on the system bus. The library, the store service, the host bus and
// the tools all address the store through these names; a program that speaks to the store with
// the generated binding needs them too. Macros, so that they join string literals (help texts,
// refusal reasons) as well as serve as values.
#pragma once

// The store manager: every request but ending a service application.
#define PELMO_STORE_BUS_NAME "org.orvik.Feltrix.dbus"
// The provider: ends service applications, nothing else.
#define PELMO_PROVIDER_BUS_NAME "org.orvik.pelmo_provider.dbus"
// The object both names export, and its interface.
#define PELMO_SERVICE_OBJECT_PATH "/org/orvik/pelmo_service"
#define PELMO_SERVICE_INTERFACE "org.orvik.pelmo_service"
