// The property read every check makes on the record last transformed.
#include "engine/CQnWSMan.h"
#include "parsing/CSnWinrmNode.h"

CQncString& CQnWSMan::GetProperty(CQncString& value, const char* propertyName, CQncString& errorText,
                                  int flag) {
    errorText = "";
    value = "";
    // Without a parser (its creation failed at initialisation) no record can be read.
    const int code = nodeParser ? nodeParser->GetValue(propertyName, flag, value) : kQncErrorXmlDocumentInit;
    if (code != 0) {
        GetErrorDescription(code, errorText);
    }
    return value;
}
