// send/body_export.h - the open compose item as MIME text: subject, bodies, attachments, pictures.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/status.h"
#include "send/send_context.h"

namespace vespro::ModBodyExport {

// Writes the MIME text of the window's item to `sink`; nothing when the mail client is gone. In an
// HTML editor everything that the item holds as an attachment is embedded content, and only the
// window's attachment list gives ordinary attachments; in any other editor both give ordinary ones.
// `outbox` is a scratch folder: made only when the item has attachments, gone afterwards.
// A piece of the item that can't be had is left out and named in the host's log. Fails only when
// the sink does, or when a file breaks while it is read.
Status Export(SendContext& context, const std::filesystem::path& outbox, ByteSink& sink);

// The content id under which a file of this name is embedded. It is the name itself, with every
// byte that could not be both in a Content-ID field and in a "cid:" address as "_" and its two
// hexadecimal digits.
std::string ContentIdOf(std::string_view file_name);

// The content id of the embedded file of that name; empty when there is none.
using ContentIds = std::function<std::string(const std::string& name)>;

// The HTML with its "cid:" references naming the embedded files by their content ids. A reference's
// name ends at the next double quote, or where no file has that name, at a single quote, a ">", a
// blank or a ")". Other references stay as they are. `do_events` is called for each one.
std::string PrepareHtml(std::string_view html, const ContentIds& content_id_of,
                        const std::function<void()>& do_events);

}  // namespace vespro::ModBodyExport
