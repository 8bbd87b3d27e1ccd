SELECT sum(n - 3 * i) AS s, count(f) FROM t WHERE t >= '2001-01-03' HAVING sum(n) IS NOT NULL OR NOT count(*) = 4
