/// Answers the requests of any number of clients, one after another, on one thread.
#pragma once

#include <ace/SOCK_Acceptor.h>
#include <poll.h>

#include <map>
#include <memory>
#include <vector>

#include "connection.h"
#include "form.h"

class Server {
public:
    /// Listens on the loopback address; port 0 picks a free one. Throws Failure.
    Server(unsigned short port, Tm_limits const& limits);
    ~Server();

    unsigned short port() const;

    /// What arrives is printed in this form.
    void print_as(Form form) { form_ = form; }
    /// The answer to every request, in the place of the echo.
    void answer_with(Message const* reply) { reply_ = reply; }

    /// Serves until SIGINT, SIGTERM or SIGHUP comes. Throws Failure when standard output fails.
    void run();

private:
    bool wait(std::vector<pollfd>& handles);
    std::vector<pollfd> watched() const;
    void serve_ready(std::vector<pollfd> const& handles);
    void accept();
    void read_from(int client);
    void take(std::unique_ptr<Message> message, int client, Tm_header const& header);
    void print(Message& message, Tm_header const& header) const;
    void send(Message const& message, int client, Tm_header const& header);
    void answer(Message& request, int client, Tm_header const& header);

    ACE_SOCK_Acceptor acceptor_;
    std::map<int, std::unique_ptr<Connection>> clients_;
    Tm_chunk_receiver receiver_;
    bool has_room_ = true;  ///< for one more descriptor
    Form form_ = Form::tcl;
    Message const* reply_ = nullptr;
};
