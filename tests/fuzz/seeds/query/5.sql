SELECT -i * (d - 1), "n" FROM "t" AS a WHERE a.i <> 4 AND i NOT IN (1, NULL) ORDER BY 1 NULLS FIRST
