// A connection to a gdbserver, or to another server of its protocol: requests and their answers.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "gdb_target/gdb_packet.h"

namespace example {

// Why a session cannot go on, in words for the user.
struct SessionError {
    std::string text;
};

// Every function that talks to the server throws SessionError when that fails.
class GdbSession final : public ZTK::ISOReceiver {
  public:
    // timeout: milliseconds that the server has for each answer.
    explicit GdbSession(DWORD timeout);
    GdbSession(const GdbSession&) = delete;
    GdbSession& operator=(const GdbSession&) = delete;
    ~GdbSession();

    void Connect(const std::string& host, long port);

    // Sends a request and returns the answer's body; empty when the server does not know the
    // request.
    std::string Ask(const std::string& request);

    // Asks what the server supports, and has it select a thread: the description that it gives is
    // of that thread's target.
    void Agree();

    // Whether the server describes its target in documents. REQUIRES: Agree.
    [[nodiscard]] bool HasDocuments() const { return has_documents_; }

    // The document of that name from the target's description ("target.xml"). False when the server
    // does not give it, with the reason in *document. REQUIRES: HasDocuments.
    bool ReadDocument(const std::string& annex, std::string* document);

    // What the server says about the register of that number, if it lists them one by one. False
    // when it does not, or there is none.
    bool ReadRegister(int number, std::string* info);

    // Lets the target run on without us.
    void Detach();

    // What the server refused, though the session went on.
    [[nodiscard]] const std::vector<std::string>& Notes() const { return notes_; }

    // ISOReceiver, on the receiver thread
    bool IsStopping() override { return stopping_; }
    bool OnReceive(ZTK::CClientSocket* socket, unsigned char* data, int length) override;
    void OnDisconnect(ZTK::CClientSocket*) override {}

  private:
    void Send(const std::string& bytes, const std::string& request);
    GdbPacket* NextPacket(const std::string& request);
    void AgreeOnSize(std::string_view offers);
    void SelectThread(std::string_view stop);

    const DWORD timeout_;
    ZTK::CClientSocket socket_;
    GdbReceiver packets_;
    HANDLE arrived_;  // auto-reset: a packet or a problem
    HANDLE receiver_thread_ = nullptr;
    std::string acknowledgement_;   // of the last answer; empty before the first
    std::size_t packet_bytes_ = 0;  // how long a packet to or from the server may be
    bool has_documents_ = false;
    std::vector<std::string> notes_;
    std::atomic<bool> stopping_{false};
};

}  // namespace example
