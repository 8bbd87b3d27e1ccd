// The queries that every system is asked, in SQL that all of them understand.
#ifndef MIPO_BENCH_PEERS_QUERIES_H
#define MIPO_BENCH_PEERS_QUERIES_H

namespace mipo::bench {

struct PeerQuery {
  const char *name;
  const char *sql;   // where it has more than one row, with an order that leaves nothing open
  double wanted = 1; // how many times as long as the kernels DuckDB takes at least
};

inline constexpr PeerQuery peer_queries[] = {
    {"a month's small delays", "SELECT count(*), avg(delay), sum(distance) FROM flights "
                               "WHERE departure >= '2001-03-01' AND departure < '2001-04-01' "
                               "AND delay BETWEEN 10 AND 60"},
    {"average by origin",
     "SELECT origin, count(*), avg(delay) FROM flights GROUP BY origin ORDER BY 3 DESC, 1 LIMIT 10"},
    {"totals by route", "SELECT origin, destination, count(*), sum(delay), sum(distance) FROM flights "
                        "GROUP BY origin, destination ORDER BY 1, 2"},
    {"extremes of a list", "SELECT count(*), min(delay), max(delay), sum(distance) FROM flights "
                           "WHERE origin IN ('SFO', 'OAK', 'SJC')"},
    {"destinations of a prefix", "SELECT destination, count(*), max(delay) FROM flights WHERE origin LIKE 'S%' "
                                 "GROUP BY destination ORDER BY 2 DESC, 1"},
    {"arithmetic", "SELECT sum(distance - 8 * delay), sum(distance * delay) FROM flights WHERE delay > 0"},
    {"busy late routes", "SELECT origin, destination, count(*), avg(delay) FROM flights WHERE delay >= 15 "
                         "GROUP BY origin, destination HAVING count(*) >= 1000 ORDER BY 4 DESC, 1, 2"},
    {"one row in a hundred", "SELECT count(*), sum(delay), sum(distance), avg(distance), min(distance) FROM flights "
                             "WHERE delay > 120"},
    {"state to state",
     "SELECT o.state, d.state, count(*), avg(delay) FROM flights JOIN airports o ON origin = o.iata "
     "JOIN airports d ON destination = d.iata GROUP BY o.state, d.state ORDER BY 4 DESC, 1, 2",
     5},
    {"out of one state", "SELECT d.city, count(*), avg(delay) FROM flights JOIN airports o ON origin = o.iata "
                         "JOIN airports d ON destination = d.iata WHERE o.state = 'CA' GROUP BY d.city "
                         "ORDER BY 2 DESC, 1"},
    {"airports of other rows", "SELECT count(*), sum(distance) FROM flights WHERE origin IN (SELECT iata FROM airports "
                               "WHERE state = 'CA') AND destination NOT IN (SELECT iata FROM airports "
                               "WHERE latitude < 40)"},
};

} // namespace mipo::bench

#endif
