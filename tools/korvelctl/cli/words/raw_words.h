// The words of raw: one request as bytes.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kRawHelp{"Send one request as bytes, show the reply as bytes",
                        "Отправить один запрос байтами, показать ответ байтами"};
constexpr Text kRawOpcode{"Number or name of the operation: 1 or GetStatus",
                          "Номер или имя операции: 1 или GetStatus"};
constexpr Text kRawPayload{"Hexadecimal digits, or @FILE with the bytes themselves",
                           "Шестнадцатеричные цифры или @ФАЙЛ с самими байтами"};
constexpr Text kRawExample{"The status, as the service sends it", "Состояние, как его передаёт служба"};
constexpr Text kRawChangeExample{"Delete an entry of the quarantine", "Удалить запись карантина"};
constexpr Text kRawNote{
    "For those who write clients: docs/protocol.md has every operation. Nothing checks the bytes, and a "
    "request that changes something is sent only after a question.",
    "Для авторов клиентов: все операции описаны в docs/protocol.md. Байты не проверяются, а запрос, который "
    "что-то меняет, отправляется только после вопроса."};
constexpr Text kRawQuestion{"Send request {0}, which changes something?",
                            "Отправить запрос {0}, который что-то меняет?"};
constexpr Text kRawNotAnOpcode{"{0} is neither a number of an operation nor its name",
                               "{0} — не номер операции и не её имя"};
constexpr Text kRawNotHex{"the payload is neither hexadecimal digits nor @FILE",
                          "данные запроса — не шестнадцатеричные цифры и не @ФАЙЛ"};
constexpr Text kRawUnreadable{"cannot read {0}", "не удалось прочитать {0}"};
constexpr Text kRawWouldSend{"would send request {0} with {1} bytes",
                             "был бы отправлен запрос {0}, байтов: {1}"};
constexpr Text kRawReply{"reply {0}, {1} bytes", "ответ {0}, байтов: {1}"};

}  // namespace korvel::ctl::words
