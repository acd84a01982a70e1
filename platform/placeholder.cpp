// Until the first source stands here.
