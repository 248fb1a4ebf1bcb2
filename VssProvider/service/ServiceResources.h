#pragma once
// Resource ids and texts shared by VantorVssProvider.rc and the C++ sources. Plain
// preprocessor definitions: the resource compiler reads this file too.
#define IDS_VANTOR_SERVICENAME 100
#define VANTOR_SERVICE_NAME_TEXT "Vantor VSS Hardware Provider"
#define IDR_VANTOR_TYPELIB 1
