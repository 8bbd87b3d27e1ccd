SELECT a.w, b.d, count(*), sum(t.i * a.n) FROM t JOIN t a ON t.i = a.n LEFT JOIN t AS b ON b.n = a.i WHERE a.t > '2001-01-03' OR b.f IS NULL GROUP BY a.w, b.d, t.w ORDER BY 3
