#include "engine/smtp/complaint.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vespro::engine {
namespace {

// More of a reply is not read.
constexpr std::size_t kMaxBytes = 2000;

constexpr int kAny = -1;

struct Row {
  std::string_view words;  // in lower case; none: the codes are enough
  Complaint complaint;
  int code = kAny, subject = kAny, first_detail = 0, last_detail = 999;
};

// The first that fits wins. The pages named are where providers and servers document their replies.
constexpr Row kRows[] = {
    // The recipient's own, though it sounds like ours. RFC 3463: X.2.2 is a full mailbox; the
    // sender's own full mailbox has the same code (learn.microsoft.com/exchange/troubleshoot/
    // send-emails/smtp-submission-improvements).
    {"storedrv.submission", Complaint::kSender, kAny, 2, 2, 2},
    {"", Complaint::kNone, kAny, 2, 2, 2},
    {"mailbox", Complaint::kNone, 552},
    {"recipient thread limit", Complaint::kNone},  // Exchange Online, see below

    // IANA's registry of enhanced codes: X.1.7 and X.1.8 are about the sender's address, X.7.20 to
    // X.7.27 about its authentication, X.7.28 is a flood.
    {"", Complaint::kSender, kAny, 1, 7, 8},
    {"basic authentication is not supported", Complaint::kLogin},  // 5.7.30, see below
    {"", Complaint::kSender, 550, 7, 20, 27},
    {"", Complaint::kUnsolicited, kAny, 7, 28, 28},

    // Amazon SES: docs.aws.amazon.com/ses/latest/dg/manage-sending-quotas-errors.html,
    // troubleshoot-smtp.html and troubleshoot-error-messages.html there.
    {"maximum sending rate exceeded", Complaint::kRate},
    {"daily message quota exceeded", Complaint::kQuota},
    {"email address is not verified", Complaint::kSender},
    {"sending paused for this account", Complaint::kSender},
    {"is not authorized to perform", Complaint::kSender},

    // Gmail: support.google.com/a/answer/3726730; its relay: support.google.com/a/answer/6140680.
    {"peak smtp relay limit", Complaint::kRate},
    {"", Complaint::kQuota, 550, 4, 5, 5},
    {"daily smtp relay", Complaint::kQuota},
    {"unusual rate of unsolicited", Complaint::kUnsolicited},
    {"temporarily rate limited", Complaint::kUnsolicited},
    {"been rate limited because", Complaint::kUnsolicited},
    {"mail relay denied", Complaint::kSender},
    {"invalid credentials for relay", Complaint::kSender},
    {"", Complaint::kSender, 550, 7, 30, 30},

    // Exchange Online: learn.microsoft.com/exchange/mail-flow-best-practices/
    // non-delivery-reports-in-exchange-online/non-delivery-reports-in-exchange-online and
    // continuous-error-throttling-smtp-auth-submissions there; outlook.com:
    // support.microsoft.com, "Fix NDR error 550 5.7.515".
    {"", Complaint::kConcurrency, 432, 3, 2, 2},
    {"concurrent connection", Complaint::kConcurrency},
    {"message submission rate", Complaint::kRate},
    {"", Complaint::kUnsolicited, 451, 7, 500, 899},
    {"", Complaint::kQuota, 550, 1, 90, 90},
    {"submission quota", Complaint::kQuota},
    {"submissionquotaexceeded", Complaint::kQuota},
    {"", Complaint::kQuota, 550, 7, 232, 233},
    {"sender throttled due to continuous", Complaint::kSender},
    {"sendasdenied", Complaint::kSender},
    {"does not have permissions to send as", Complaint::kSender},
    {"client was not authenticated", Complaint::kLogin},
    {"", Complaint::kSender, 550, 7, 60, 60},
    {"tenantattribution", Complaint::kSender},
    {"spam abuse detected", Complaint::kSender},
    {"banned send", Complaint::kSender},
    {"has exceeded permitted limits", Complaint::kUnsolicited},
    {"", Complaint::kSender, 550, 7, 515, 515},
    {"", Complaint::kSender, 550, 7, 705, 708},
    {"", Complaint::kSender, 550, 7, 750, 750},

    // Yahoo: senders.yahooinc.com/smtp-error-codes.
    {"temporarily deferred due to", Complaint::kUnsolicited},
    {"permanently deferred", Complaint::kUnsolicited},

    // IONOS: ionos.com/help/email/general-topics/what-are-the-mass-mailing-limits and
    // ionos.de/hilfe/e-mail/postmaster/smtp-fehlermeldungen-der-11-ionos-mailserver.
    {"send limit exceeded", Complaint::kQuota},
    // SendGrid: twilio.com/docs/sendgrid/for-developers/sending-email/
    // smtp-errors-and-troubleshooting.
    {"maximum credits exceeded", Complaint::kQuota},
    {"authorized to send from that", Complaint::kSender},
    {"verified sender identity", Complaint::kSender},
    {"too frequent connects", Complaint::kConcurrency},
    // Zoho: help.zoho.com/portal/en/community/topic/issue-with-outgoing-mail and
    // unable-to-send-message-reason-550-5-4-6-unusual-sending-activity-detected there;
    // zoho.com/zeptomail/help/api/smtp-error-codes.html.
    {"unusual sending activity", Complaint::kUnsolicited},
    {"relaying disallowed as", Complaint::kSender},
    // Mailgun: help.kyriossystems.com/en/articles/13613564-email-errors-mailgun-google-workspace.
    {"domain is not allowed to send", Complaint::kSender},
    // AuthSMTP: authsmtp.co.uk/smtp-error-codes/433-account-is-over-message-quota.html.
    {"over message quota", Complaint::kQuota, 433},
    // SocketLabs: help.socketlabs.com/docs/421-451-too-many-errors-you-have-been-temporarily-
    // blacklisted.
    {"temporarily blacklisted", Complaint::kUnsolicited},
    // StartMail: support.startmail.com/hc/de/articles/360006737337.
    {"mail limit has been reached", Complaint::kQuota},
    // Spectrum: support.brighthouse.com/Article/Outbound-Email-Policy-Road-Runner-1687.
    {"outbound mail refused", Complaint::kQuota},
    // Comcast: postmaster.comcast.net/smtp-error-codes.php.
    {"too many sessions", Complaint::kConcurrency},

    // Hosting. cPanel: my.maxer.com/knowledgebase/226; webcentral: support.webcentral.au/docs/
    // email-sending-restrictions; Plesk: plesk.com/kb/support/what-will-happen-to-emails-that-are-
    // sent-once-the-outgoing-limit-is-reached; adit: kunden.aditsystems.de/wiki/email/
    // message_count_quota; postfwd: git.oopen.de/install/mailsystem, README.default-rate-limits;
    // outMail: support.prolateral.com/index.php?/Knowledgebase/Article/View/187; AfterOffice:
    // afteroffice.com/support/doku.php?id=faq:email:smtp_relay_quota_for_outgoing_emails; Junara:
    // support.junara.com/hc/en-au/articles/13986538738063; reg.ru: help.reg.ru,
    // oshibka-sender-rate-overlimitt; mailbox.org: kb.mailbox.org, "Sender address rejected not
    // owned by user"; msndr: client.cloud4u.com/index.php/knowledgebase/1041.
    {"exceeded the max emails per hour", Complaint::kQuota},
    {"exceeded the max defers and failures", Complaint::kQuota},
    {"daily limit has been exceeded", Complaint::kQuota},
    {"number of allowed outgoing messages", Complaint::kQuota},
    {"message count quota", Complaint::kQuota},
    {"messages per hour exceeded", Complaint::kQuota},
    {"recipients per hour exceeded", Complaint::kQuota},
    {"you have exceeded your", Complaint::kQuota},
    {"relay quota", Complaint::kQuota},
    {"sending limit", Complaint::kQuota},

    {"sender rate overlimit", Complaint::kQuota},
    {"sender address rejected: not owned by", Complaint::kSender},
    {"too many messages. try again", Complaint::kRate},

    // Servers. Postfix: postfix.org/TUNING_README.html and smtpd(8); Exim: exim.org, "Resource
    // control", and tutorials.dodatech.com/quick-fix/exim-ratelimit; Sendmail: oreilly.com/library/
    // view/sendmail-4th-edition; Rspamd: rspamd.com/doc/modules/ratelimit.html.
    {"too much mail from", Complaint::kRate},
    {"too many recipients from", Complaint::kRate},
    {"too many connections", Complaint::kConcurrency},
    {"too many concurrent", Complaint::kConcurrency},
    {"too many open connections", Complaint::kConcurrency},
    {"too many new tls sessions", Complaint::kConcurrency},
    {"connection rate limit", Complaint::kConcurrency},
    {"ratelimit", Complaint::kRate},
    {"rate limit reached", Complaint::kRate},
    {"rate limit exceeded", Complaint::kRate},
    {"slow down", Complaint::kRate},
};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsEnhancedCode(std::string_view word) {
  return word.size() >= 5 && (word[0] == '4' || word[0] == '5') && word[1] == '.' &&
         word.find_first_not_of("0123456789.") == std::string_view::npos;
}

// Lower case, one blank between words; without addresses, which may consist of any words, and
// without the codes that each line begins with, since a phrase may go over several.
std::string Normalised(std::string_view text) {
  text = text.substr(0, kMaxBytes);
  std::string words;
  words.reserve(text.size());
  while (!text.empty()) {
    const auto end = std::find_if(text.begin(), text.end(), IsBlank);
    const std::string_view word = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    if (!word.empty() && word.find('@') == std::string_view::npos && !IsEnhancedCode(word)) {
      if (!words.empty()) words += ' ';
      for (const char c : word) words += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    text.remove_prefix(std::min(text.size(), word.size() + 1));
  }
  return words;
}

}  // namespace

Complaint ComplaintOf(const Reply& reply) {
  const auto is = [](int wanted, int value) { return wanted == kAny || wanted == value; };
  const std::string words = Normalised(reply.text);
  for (const Row& row : kRows) {
    const bool fits = is(row.code, reply.code) && is(row.subject, reply.enhanced.subject) &&
                      reply.enhanced.detail >= row.first_detail &&
                      reply.enhanced.detail <= row.last_detail;
    if (fits && words.find(row.words) != std::string::npos) return row.complaint;
  }
  return Complaint::kNone;
}

}  // namespace vespro::engine
