#pragma once
// A transaction on one connection that rolls back unless it was committed:
// every path out of a unit of work (return, refusal, exception) leaves the
// database as it was, except the one that calls commit().
#include "platform/Connection.h"

class Transaction {
public:
    explicit Transaction(Connection &conn) : m_conn(conn) { m_conn.beginTrans(); }
    ~Transaction()
    {
        if (!m_done)
            m_conn.rollbackTrans(); // does not throw; a lost session is already rolled back
    }
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    // Makes the work permanent. Throws DbError when the engine refuses; the
    // transaction is then rolled back as the guard goes.
    void commit()
    {
        m_conn.commitTrans();
        m_done = true;
    }
    // Ends the transaction now without keeping its work.
    void rollback()
    {
        m_done = true;
        m_conn.rollbackTrans();
    }

private:
    Connection &m_conn;
    bool m_done = false;
};
